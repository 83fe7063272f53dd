// Names that a site gives to counter groups and resources. Files number both and tell nothing more;
// what they stand for is known to the site, which writes it into a small text file, a name a line:
//
//   group ld 1 random reads
//   resource array01 ld 21 mail store
//   resource * pd 0.1 first disk of every array
//   unit first us
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace psltool {

class Labels {
 public:
  // Reads a file; an empty path stands for none. False: it cannot be read, or a line of it is
  // wrong, reported with its number.
  bool Read(const std::string& path);
  bool empty() const { return groups_.empty() && resources_.empty(); }
  // In which unit first averages and maxima are: "us", "ms" or "s"; "" where it is not told.
  const std::string& unit_of_first() const { return unit_of_first_; }

  // Names by the words of kinds; "" where there is none.
  const std::string& OfGroup(std::string_view kind, size_t group) const;
  // Wait times bear the names of their disks.
  const std::string& OfResource(std::string_view array, std::string_view kind,
                                std::string_view key) const;
  // The same behind a blank and in brackets, for sentences: "ld 1 (mail store)".
  std::string BehindGroup(std::string_view kind, size_t group) const;
  std::string BehindResource(std::string_view array, std::string_view kind,
                             std::string_view key) const;
  // True when resources of the kind have names, of whatever array.
  bool NameResourcesOf(std::string_view kind) const;
  // True when groups of the number have names, of whatever kind.
  bool NameGroup(size_t group) const;

 private:
  struct Label {
    std::string name;
    size_t line;  // of the file
  };
  using GroupPlace = std::pair<std::string, size_t>;                        // kind, number
  using ResourcePlace = std::tuple<std::string, std::string, std::string>;  // kind, key, array

  // What is wrong with the line; "": nothing.
  std::string Take(std::string_view line, size_t number);
  std::string TakeGroup(std::string_view rest, size_t number);
  std::string TakeResource(std::string_view rest, size_t number);
  std::string TakeUnit(std::string_view rest);

  std::map<GroupPlace, Label> groups_;
  std::map<ResourcePlace, Label> resources_;
  std::string unit_of_first_;
};

// The names that hold for the entries of one file, whose name tells the array.
class FileLabels {
 public:
  FileLabels(const Labels& labels, std::string path) : labels_(&labels), path_(std::move(path)) {}
  // The file's level is known, which tells how its name is to be read.
  void Open(char level);

  // No names are given at all.
  bool empty() const { return labels_->empty(); }
  const std::string& OfGroup(std::string_view kind, size_t group) const {
    return labels_->OfGroup(kind, group);
  }
  const std::string& OfResource(std::string_view kind, std::string_view key) const {
    return labels_->OfResource(array_, kind, key);
  }
  bool NameResourcesOf(std::string_view kind) const { return labels_->NameResourcesOf(kind); }
  bool NameGroup(size_t group) const { return labels_->NameGroup(group); }

 private:
  const Labels* labels_;
  std::string path_;
  std::string array_;
};

// The array in the name of an archive of either level: behind the digits of a day or a month.
std::string ArrayOfArchive(const std::string& path);

}  // namespace psltool
