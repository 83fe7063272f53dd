// What Debian's libc++ and libunwind, built for glibc with checks of sizes, ask of a C library and
// musl does not have: each is the function without the check, or without the locale. Linked by
// musl-clang++ only.
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

extern "C" {

void* __memmove_chk(void* to, const void* from, size_t size, size_t) {
  return memmove(to, from, size);
}

wchar_t* __wmemcpy_chk(wchar_t* to, const wchar_t* from, size_t count, size_t) {
  return wmemcpy(to, from, count);
}

wchar_t* __wmemmove_chk(wchar_t* to, const wchar_t* from, size_t count, size_t) {
  return wmemmove(to, from, count);
}

int __vfprintf_chk(FILE* file, int, const char* format, va_list arguments) {
  return vfprintf(file, format, arguments);
}

int __fprintf_chk(FILE* file, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = vfprintf(file, format, arguments);
  va_end(arguments);
  return result;
}

int __vsnprintf_chk(char* to, size_t size, int, size_t, const char* format, va_list arguments) {
  return vsnprintf(to, size, format, arguments);
}

int __vasprintf_chk(char** to, int, const char* format, va_list arguments) {
  return vasprintf(to, format, arguments);
}

// musl reads numbers in the same way in every locale.
long long strtoll_l(const char* text, char** end, int base, locale_t) {
  return strtoll(text, end, base);
}

unsigned long long strtoull_l(const char* text, char** end, int base, locale_t) {
  return strtoull(text, end, base);
}

}  // extern "C"
