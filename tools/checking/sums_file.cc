// SHA256SUMS: see the header.
#include "tools/checking/sums_file.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <string_view>

#include "engine/names.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"

namespace psltool {

namespace {

constexpr size_t kDigits = 64;

// Undoes the escapes of a name; nothing when they are wrong.
std::optional<std::string> Unescaped(const std::string& text) {
  std::string name;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      name += text[i];
      continue;
    }
    const char next = ++i < text.size() ? text[i] : '\0';
    if (next != '\\' && next != 'n' && next != 'r') return std::nullopt;
    name += next == 'n' ? '\n' : next == 'r' ? '\r' : '\\';
  }
  return name;
}

// "./a", "././a" and ".//a" name the file "a".
std::string WithoutHere(std::string_view name) {
  while (name.starts_with("./")) {
    name.remove_prefix(1);
    name.remove_prefix(std::min(name.find_first_not_of('/'), name.size()));
  }
  return std::string(name);
}

// False: a line of another form.
bool ParseLine(const std::string& text, SumsLine& line) {
  line = {text, "", ""};
  if (text.empty() || text[0] == '#') return true;
  const bool escaped = text[0] == '\\';
  const std::string rest = escaped ? text.substr(1) : text;
  // Two blanks, or a blank and the star of "binary", which means nothing here.
  if (rest.size() < kDigits + 3 || rest[kDigits] != ' ' ||
      (rest[kDigits + 1] != ' ' && rest[kDigits + 1] != '*')) {
    return false;
  }
  line.digest = rest.substr(0, kDigits);
  for (char& digit : line.digest) {
    if (std::isxdigit(static_cast<unsigned char>(digit)) == 0) return false;
    digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
  }
  const std::string name = rest.substr(kDigits + 2);
  const auto plain = escaped ? Unescaped(name) : name;
  if (!plain) return false;
  line.name = WithoutHere(*plain);
  return !line.name.empty();
}

std::string PathOf(const std::string& directory) {
  return directory + (directory.ends_with('/') ? "" : "/") + kSumsName;
}

}  // namespace

bool ReadSums(const std::string& directory, SumsFile& sums) {
  sums = SumsFile();
  const std::string path = PathOf(directory);
  struct stat state {};
  if (stat(path.c_str(), &state) == -1) {
    // A file that is named as if it lay in a file has no directory.
    if (errno == ENOENT || errno == ENOTDIR) return true;
    return Fail(path, fmt::format("cannot be read: {}", std::strerror(errno)));
  }
  if (!S_ISREG(state.st_mode)) return Fail(path, "not a regular file");
  sums.exists = true;
  std::ifstream file(path, std::ios::binary);
  if (!file) return Fail(path, fmt::format("cannot be opened: {}", std::strerror(errno)));
  std::map<std::string, std::string> seen;
  for (std::string text; std::getline(file, text);) {
    SumsLine line;
    const size_t number = sums.lines.size() + 1;
    if (!ParseLine(text, line)) {
      return Fail(path, fmt::format("line {}: not a digest, two blanks and a name; mend or remove "
                                    "the line",
                                    number));
    }
    const auto [known, is_new] = seen.emplace(line.name, line.digest);
    if (!line.name.empty() && !is_new && known->second != line.digest) {
      return Fail(path, fmt::format("line {}: another digest for {} than above; remove the wrong "
                                    "line",
                                    number, line.name));
    }
    sums.lines.push_back(std::move(line));
  }
  return !file.bad() || Fail(path, "cannot be read");
}

SumsLine MakeSumsLine(const std::string& name, const std::string& digest) {
  std::string escaped;
  for (const char c : name) {
    escaped += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\\' ? "\\\\" : std::string(1, c);
  }
  return {(escaped == name ? "" : "\\") + digest + "  " + escaped, name, digest};
}

bool WriteSums(const std::string& directory, const SumsFile& sums) {
  RecordFile file(PathOf(directory));
  if (!file.Create()) return false;
  TextOut out(file);
  for (const SumsLine& line : sums.lines) {
    out.Put(line.text);
    out.Put("\n");
  }
  return out.Flush() && file.FinishDurably();
}

const SumsOfDirectories::Digests& SumsOfDirectories::Of(const std::string& directory) {
  auto digests = directories_.find(directory);
  if (digests == directories_.end()) {
    SumsFile sums;
    if (!ReadSums(directory, sums)) {
      trouble_ = true;
      sums = SumsFile();
    }
    digests = directories_.emplace(directory, Digests()).first;
    for (const SumsLine& line : sums.lines) digests->second.emplace(line.name, line.digest);
  }
  return digests->second;
}

std::string SumsOfDirectories::DigestFor(const std::string& path) {
  const Digests& digests = Of(DirectoryOf(path));
  const auto found = digests.find(std::string(BaseName(path)));
  return found == digests.end() ? "" : found->second;
}

std::vector<std::string> SumsOfDirectories::GoneFrom(const std::string& directory) {
  std::vector<std::string> gone;
  for (const auto& [name, digest] : Of(directory)) {
    struct stat state {};
    const bool there = stat(fmt::format("{}/{}", directory, name).c_str(), &state) == 0;
    if (!name.empty() && !there && (errno == ENOENT || errno == ENOTDIR)) gone.push_back(name);
  }
  return gone;
}

}  // namespace psltool
