// Random archive directories: see the header.
#include "tests/support/tools/plan_tree.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/runs/nights.h"

namespace {

namespace fs = std::filesystem;

using Random = std::mt19937;

bool OneIn(Random& random, int n) { return std::uniform_int_distribution<int>(1, n)(random) == 1; }

std::map<std::string, std::string> FilesIn(const std::string& directory) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(directory)) {
    files[entry.path().filename().string()] = TempDir::ReadFile(entry.path().string());
  }
  return files;
}

void Archive(const std::string& from, const std::string& to, const std::string& zone,
             const std::vector<std::string>& options) {
  std::vector<std::string> arguments{"-o", to};
  arguments.insert(arguments.end(), options.begin(), options.end());
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(from)) names.push_back(entry.path().string());
  std::sort(names.begin(), names.end());
  arguments.insert(arguments.end(), names.begin(), names.end());
  ProgramSettings settings;
  settings.variables = {{"TZ", zone}};
  const ProgramResult result = RunProgram(QELPRFARC_PATH, arguments, settings);
  if (result.status != 0) throw std::runtime_error("Qelprfarc: " + result.err);
}

// One file as it may come out of a bad night.
std::string Spoiled(std::string bytes, Random& random) {
  switch (std::uniform_int_distribution<int>(0, 7)(random)) {
    case 0:
      return "";
    case 1:
      return bytes.substr(0, 5);
    case 2:
      return bytes.substr(0, 40);
    case 3:
      return bytes.substr(0, bytes.size() - 30);
    case 4:
      return bytes.replace(0, 3, "XYZ");
    case 5:
      bytes[3] = OneIn(random, 2) ? '\x16' : '\x7F';
      return bytes;
    case 6:
      bytes[12] = OneIn(random, 2) ? 'D' : 'X';
      return bytes;
    default:
      return bytes.replace(bytes.size() / 2, 3, "???");
  }
}

void PutFiles(const std::map<std::string, std::string>& samples, const std::string& directory,
              Random& random, int one_in) {
  for (const auto& [name, bytes] : samples) {
    if (!OneIn(random, one_in)) continue;
    const std::string path = directory + "/" + name;
    std::ofstream file(path, std::ios::binary);
    file << (OneIn(random, 9) ? Spoiled(bytes, random) : bytes);
  }
}

// Things in one of both directories that are no logs or archives, or odd ones.
void PutOddThings(const SampleFiles& samples, const std::string& arc, const std::string& extension,
                  Random& random) {
  const std::string log = samples.logs.begin()->second;
  const auto write = [&](const std::string& name, const std::string& bytes) {
    if (!OneIn(random, 3)) return;
    // A directory may be in the way.
    std::ofstream(arc + "/" + name, std::ios::binary) << bytes;
  };
  write("20240230a" + extension, log);
  write("2024022" + extension, log);
  write("20240228" + extension, log);
  write("x20240228a" + extension, log);
  write("20240228a.txt", log);
  write("20240228a" + extension + ".old", log);
  write("20240228" + std::string(60, 'l') + extension, log);
  write("19690228a" + extension, log);
  write("20231105q" + extension, log);
  write("20240102q" + extension, samples.hours.begin()->second);
  write("202311q" + extension, samples.days.begin()->second);
  write("notes", "text");
  if (OneIn(random, 3)) fs::create_directory(arc + "/20240229d" + extension);
  if (OneIn(random, 3)) fs::create_symlink("nowhere", arc + "/20240227s" + extension);
  if (OneIn(random, 3)) mkfifo((arc + "/20240226f" + extension).c_str(), 0600);
}

}  // namespace

SampleFiles MakeSamples(const std::string& first_day, int days, const std::string& zone) {
  const TempDir made;
  for (const char* name : {"logs", "hours", "days"}) made.MakeDirectory(name);
  const auto make = [&](const char* name, const char* revision, const char* parts) {
    MakeLogs(made.Path("logs"),
             {"--name", name, "--revision", revision, "--files-per-day", parts, "--local",
              "--interval", "7200", "--start", first_day, "--days", std::to_string(days)},
             zone);
  };
  // Below 0x1D: archives made by hand get their names from local time, too.
  make("a", "0x1C", "1");
  make("b", "0x1A", "2");
  make("15A", "0x17", "1");
  Archive(made.Path("logs"), made.Path("hours"), zone, {});
  Archive(made.Path("hours"), made.Path("days"), zone, {"-d"});
  return {FilesIn(made.Path("logs")), FilesIn(made.Path("hours")), FilesIn(made.Path("days"))};
}

void FillArchiveDirectory(const SampleFiles& samples, const TempDir& directory,
                          std::mt19937& random) {
  const std::string arc = directory.Path("arc");
  PutFiles(samples.logs, arc, random, 2);
  PutOddThings(samples, arc, ".psl", random);
  for (const char* marker : {"Qelprf.A", "Qelprf.B"}) {
    if (OneIn(random, 2)) std::ofstream(arc + "/" + marker) << "x";
  }
  if (OneIn(random, 8)) return;  // a new server
  const std::string archive = arc + "/archive";
  fs::create_directory(archive);
  PutFiles(samples.hours, archive, random, 4);
  PutFiles(samples.days, archive, random, 4);
  PutOddThings(samples, archive, ".psa", random);
  if (OneIn(random, 3)) std::ofstream(archive + "/20240301a.psa_tmp") << "rest";
  if (OneIn(random, 3)) std::ofstream(archive + "/20240110z.psa_tmp") << "rest";
  const auto log = samples.logs.begin();
  // A log under another day's name: its archive gets the name of that other day's.
  if (OneIn(random, 6)) std::ofstream(arc + "/20240302a.psl", std::ios::binary) << log->second;
  // The array's firmware was changed in the middle of a day.
  if (OneIn(random, 3)) {
    std::string other = log->second;
    other[3] = '\x1B';
    std::ofstream(arc + "/" + log->first.substr(0, 9) + "#002.psl", std::ios::binary) << other;
  }
  // In the way of an archive, or of the file that becomes one.
  if (OneIn(random, 8)) mkdir((archive + "/20240225b.psa").c_str(), 0755);
  if (OneIn(random, 8)) mkdir((archive + "/20240226b.psa_tmp").c_str(), 0755);
}

std::map<std::string, std::string> StateOf(const std::string& path) {
  std::map<std::string, std::string> state;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    const std::string name = entry.path().string();
    struct stat status {};
    lstat(name.c_str(), &status);
    std::string text = std::to_string(status.st_mode) + " " + std::to_string(status.st_size) + " " +
                       std::to_string(status.st_mtim.tv_sec) + "." +
                       std::to_string(status.st_mtim.tv_nsec) + " ";
    if (S_ISREG(status.st_mode)) text += TempDir::ReadFile(name);
    if (S_ISLNK(status.st_mode)) text += fs::read_symlink(name).string();
    state[name] = text;
  }
  return state;
}
