// Trees of monitor logs that exist in memory only: the program prunes them through its table of
// hands, and what goes is held against the model.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include "pmonb/PMONBcomDeletePml.h"
#include "pmonb/pml_system.h"
#include "tests/fuzz/target.h"
#include "tests/pmonb/pml_model.h"

namespace fuzz {

namespace {

constexpr char kBase[] = "/b/";
constexpr char kStaging[] = "/s/.trace3";

struct Entry {
  std::string name;
  uint64_t size;
  bool directory;
};

// A directory and the place of the listing that is under way.
struct Directory {
  std::vector<Entry> entries;
  size_t next = 0;
  dirent entry = {};
};

std::map<std::string, Directory> tree;
std::set<std::string> gone;  // removed or moved

Directory& At(DIR* stream) { return *reinterpret_cast<Directory*>(stream); }

DIR* OpenDir(const char* path) {
  const auto found = tree.find(path);
  errno = ENOENT;
  if (found == tree.end()) return nullptr;
  found->second.next = 0;
  return reinterpret_cast<DIR*>(&found->second);
}

dirent* ReadDir(DIR* stream) {
  Directory& directory = At(stream);
  if (directory.next == directory.entries.size()) return nullptr;
  const std::string& name = directory.entries[directory.next++].name;
  std::snprintf(directory.entry.d_name, sizeof directory.entry.d_name, "%s", name.c_str());
  return &directory.entry;
}

int CloseDir(DIR* /*stream*/) { return 0; }

int Status(const char* path, struct stat* status) {
  *status = {};
  status->st_ino = 1 + std::hash<std::string>()(path) % 1000000;
  status->st_mode = S_IFDIR;
  if (tree.contains(path) || std::strcmp(path, "/") == 0 || std::strcmp(path, kBase) == 0) return 0;
  const std::string text = path;
  const size_t slash = text.rfind('/');
  if (const auto found = tree.find(text.substr(0, slash)); found != tree.end()) {
    for (const Entry& entry : found->second.entries) {
      if (entry.name != text.substr(slash + 1)) continue;
      if (!entry.directory) status->st_mode = S_IFREG;
      status->st_size = static_cast<off_t>(entry.size);
      return 0;
    }
  }
  errno = ENOENT;
  return -1;
}

int MakeDir(const char* path, mode_t /*mode*/) {
  tree[path];
  return 0;
}

int Remove(const char* path) {
  if (gone.insert(path).second) return 0;
  errno = ENOENT;
  return -1;
}

int Move(const char* source, const char* target, uint32_t* detail) {
  *detail = 0;
  return tree.contains(std::string(target, std::strlen(target) - 1)) ? Remove(source) : 4;
}

// Puts the hands of the target in the place of the system's, as long as it exists.
class Hands {
 public:
  Hands() { Put(); }
  ~Hands() { pml_system = before_; }
  Hands(const Hands&) = delete;
  Hands& operator=(const Hands&) = delete;

 private:
  static void Put();
  PmlSystem before_ = pml_system;
};

void Hands::Put() {
  pml_system.open_dir = OpenDir;
  pml_system.read_dir = ReadDir;
  pml_system.close_dir = CloseDir;
  pml_system.status = Status;
  pml_system.make_dir = MakeDir;
  pml_system.remove_file = Remove;
  pml_system.move_file = Move;
  pml_system.check_volume = [](const char*, PmlErrorBlock*) { return 0; };
}

std::string PathOf(unsigned dir, unsigned mode) {
  return mode == 9 ? kStaging : fmt::format("/b/{:02X}", dir);
}

// Names of the usual form most of the time; else as the input has them.
std::string NameOf(Taker& taker) {
  const uint8_t form = taker.Byte();
  if (form < 40) {
    std::string name = taker.Text(form);
    name = name.c_str();
    std::replace(name.begin(), name.end(), '/', '_');
    return name + ".pml";
  }
  return fmt::format("{:04}{:02}{:02}{}#{:03}_{:03}.pml", 2000 + taker.Byte() % 40,
                     taker.Byte() % 14, taker.Byte() % 33, form % 2 == 0 ? "x" : "array",
                     taker.Byte(), taker.Byte());
}

PmlModelFile Described(unsigned dir, const std::string& directory, const Entry& entry) {
  PmlModelFile file{dir, directory + "/" + entry.name, entry.size};
  const std::string& name = entry.name;
  const auto digits = [&name](size_t from, size_t count) {
    return std::all_of(name.begin() + static_cast<ptrdiff_t>(from),
                       name.begin() + static_cast<ptrdiff_t>(from + count),
                       [](char c) { return c >= '0' && c <= '9'; });
  };
  // From the end: "#nnn_nnn.pml".
  constexpr size_t kTail = 12;
  if (name.size() < 21 || name.size() > 52) return file;
  const size_t hash = name.size() - kTail;
  file.valid = digits(0, 8) && name.find('#', 8) == hash && digits(hash + 1, 3) &&
               name[hash + 4] == '_' && digits(hash + 5, 3);
  if (file.valid) {
    file.date = std::stoi(name.substr(2, 6));
    file.number = std::stoi(name.substr(hash + 2, 2)) * 1000 + std::stoi(name.substr(hash + 6, 2));
  }
  return file;
}

void Grow(Taker& taker, unsigned mode, unsigned one_dir) {
  constexpr size_t kMostFiles = 40;
  tree.clear();
  gone.clear();
  tree["/b"];
  tree[kStaging];
  tree[PathOf(one_dir, mode)];
  if (mode == 9) tree[fmt::format("/b/{:02X}", one_dir)];
  for (size_t i = 0; i < kMostFiles && !taker.empty(); ++i) {
    const uint8_t where = taker.Byte();
    const unsigned dir = where < 160 ? one_dir : taker.Byte();
    const uint32_t size = where % 8 == 0 ? taker.Word() : taker.Byte();
    const Entry entry = {NameOf(taker), size, where % 31 == 30};
    std::vector<Entry>& entries = tree[PathOf(dir, mode)].entries;
    const bool taken = std::any_of(entries.begin(), entries.end(),
                                   [&](const Entry& each) { return each.name == entry.name; });
    if (!taken) entries.push_back(entry);
  }
  for (const auto& [path, directory] : tree) {
    if (path.size() == 5) tree["/b"].entries.push_back({path.substr(3), 0, true});
  }
}

PmlModelState Listed(unsigned mode, unsigned one_dir) {
  PmlModelState state;
  const bool all = mode == 3 || mode == 4;
  for (unsigned dir = all ? 0 : one_dir; dir <= (all ? 255 : one_dir); ++dir) {
    state.dirs.push_back(dir);
    const std::string path = PathOf(dir, mode);
    const auto found = tree.find(path);
    if (found == tree.end()) continue;
    for (const Entry& entry : found->second.entries) {
      if (entry.directory || entry.name.size() <= 4 || !entry.name.ends_with(".pml")) continue;
      state.files.push_back(Described(dir, path, entry));
    }
  }
  for (const PmlModelFile& file : state.files) state.total += file.size;
  state.count = static_cast<uint32_t>(state.files.size());
  state.total_lo = static_cast<uint32_t>(state.total);
  return state;
}

}  // namespace

std::string Pml(Input input) {
  const Hands hands;
  constexpr unsigned kActing[] = {2, 3, 4, 8, 9};
  Taker taker(input);
  const unsigned mode = kActing[taker.Byte() % std::size(kActing)];
  const unsigned one_dir = taker.Byte();
  PmlDelParam param = {};
  std::strcpy(param.base_dir, kBase);
  std::strcpy(param.trace_dir, "/s/");
  param.dir_no = static_cast<uint16_t>(one_dir);
  param.term = taker.Word() % 50000;
  param.delete_count = taker.Byte() % 16;
  param.limit_lo = taker.Word();
  param.margin = taker.Word();
  Grow(taker, mode, one_dir);
  PmlModelState state = Listed(mode, one_dir);
  state.term = param.term;
  state.delete_count = param.delete_count;
  state.limit = param.limit_lo;
  state.margin = param.margin;

  const int expected = RunPmlModel(state, mode);
  const int result = PMONBcomDeletePml(&param, static_cast<int8_t>(mode));
  if (result != expected) return fmt::format("result {}, by the model {}", result, expected);
  std::set<std::string> chosen;
  for (const PmlModelFile& file : state.files) {
    if (file.chosen) chosen.insert(file.path);
  }
  if (chosen != gone) return "other files than by the model";
  return param.file_count == state.count && param.total_lo == state.total_lo ? "" : "other totals";
}

}  // namespace fuzz
