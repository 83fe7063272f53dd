// The file SHA256SUMS of a directory, in the form that `sha256sum` writes and reads: on each line
// the digest of a file in hexadecimal, two blanks and its name.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace psltool {

inline constexpr const char* kSumsName = "SHA256SUMS";

struct SumsLine {
  std::string text;    // as it stands, without the end of the line
  std::string name;    // empty: a comment or an empty line
  std::string digest;  // small digits
};

struct SumsFile {
  bool exists = false;
  std::vector<SumsLine> lines;
};

// Reads SHA256SUMS of a directory; without one there are no lines. False: it cannot be read, has a
// line of another form, or says two things about one file; reported.
bool ReadSums(const std::string& directory, SumsFile& sums);

// A line for a file; in names line ends and backslashes are escaped as `sha256sum` does it.
SumsLine MakeSumsLine(const std::string& name, const std::string& digest);

// Writes SHA256SUMS beside and renames it, synced. False: reported, the old one stays.
bool WriteSums(const std::string& directory, const SumsFile& sums);

// The SHA256SUMS files of the directories of files, each read once.
class SumsOfDirectories {
 public:
  // The digest that the file's directory holds for it, empty without one.
  std::string DigestFor(const std::string& path);
  // The names in a directory's SHA256SUMS whose files are gone, sorted.
  std::vector<std::string> GoneFrom(const std::string& directory);
  // True when a SHA256SUMS could not be used, reported.
  bool trouble() const { return trouble_; }

 private:
  using Digests = std::map<std::string, std::string>;  // by name
  const Digests& Of(const std::string& directory);
  std::map<std::string, Digests> directories_;
  bool trouble_ = false;
};

}  // namespace psltool
