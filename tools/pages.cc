// qelprfarc_pages: writes the manual pages and the completion of shells that are installed, or the
// pages docs/commands/ of the checkout. Used by the build and by scripts/pages.
//
// Usage: qelprfarc_pages installed SOURCE DIRECTORY [SYSCONFDIR DOCDIR]
//        qelprfarc_pages docs SOURCE DIRECTORY
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tools/pages/pages.h"

namespace {

void WritePages(const psltool::Pages& pages, const std::filesystem::path& directory) {
  for (const auto& [name, text] : pages) {
    const std::filesystem::path path = directory / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw std::runtime_error(path.string() + " cannot be written");
  }
}

int Run(int argc, char** argv) {
  const std::string what = argc == 4 || argc == 6 ? argv[1] : "";
  if (what != "installed" && (what != "docs" || argc != 4)) {
    std::fputs(
        "Usage: qelprfarc_pages installed SOURCE DIRECTORY [SYSCONFDIR DOCDIR]\n"
        "       qelprfarc_pages docs SOURCE DIRECTORY\n",
        stderr);
    return 2;
  }
  psltool::Installed installed;
  if (argc == 6) installed = {argv[4], argv[5]};
  WritePages(
      what == "docs" ? psltool::DocsPages(argv[2]) : psltool::InstalledPages(argv[2], installed),
      argv[3]);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qelprfarc_pages: %s\n", error.what());
    return 1;
  }
}
