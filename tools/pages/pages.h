// All that is made from the tables of the programs, by path: manual pages, completion, and the
// pages docs/commands/ of the documentation.
#pragma once

#include <map>
#include <string>

namespace psltool {

using Pages = std::map<std::string, std::string>;

// What pages tell of where things are installed.
struct Installed {
  std::string settings = "/etc";
  std::string docs = "/usr/share/doc/qelprfarc";
};

// "man/man1/psltool.1", "completion/bash/psltool" and so on. `source` is the root of the checkout:
// packaging/man/ has what people wrote of the pages, docs/format.md and docs/format-entries.md are
// psl(5). Throws std::runtime_error when a file cannot be read.
Pages InstalledPages(const std::string& source, const Installed& installed = {});

// "docs/commands/show.md" and so on.
Pages DocsPages(const std::string& source);

}  // namespace psltool
