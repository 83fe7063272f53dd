// What Debian's libc++ and libunwind, built for glibc with checks of sizes, ask of a C library and
// musl does not have: each is the function without the check. Linked by musl-clang++ only.
#include <cstdarg>
#include <cstdio>
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

}  // extern "C"
