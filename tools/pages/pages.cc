// All pages by path: see the header.
#include "tools/pages/pages.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/version.h"
#include "tools/pages/completion.h"
#include "tools/pages/docs_command.h"
#include "tools/pages/man_command.h"
#include "tools/pages/man_markdown.h"
#include "tools/pages/programs.h"
#include "tools/pages/roff.h"

namespace psltool {

namespace {

namespace fs = std::filesystem;

constexpr char kFormatEnd[] =
    ".SH FILES\n.TP\n.I @DOCDIR@/docs\nThe other pages that are named here, as in archiving.md.\n"
    ".SH SEE ALSO\n.BR Qelprfarc (1),\n.BR psltool (1),\n.BR psltool\\-dump (1),\n"
    ".BR psltool\\-check (1),\n.BR qelprfarc (7)\n";

std::string TextOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file.is_open() || file.bad() || text.empty()) {
    throw std::runtime_error(path.string() + " cannot be read");
  }
  return text;
}

void Replace(std::string& text, const std::string& mark, const std::string& by) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += by.size()) {
    text.replace(at, mark.size(), by);
  }
}

// What people wrote, with what the program knows in the places for it.
void AddWritten(const fs::path& folder, const Installed& installed, Pages& pages) {
  const CommandFacts archiver = ArchiverFacts();
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().stem();  // of "Qelprfarc.1.in"
    if (entry.path().extension() != ".in") continue;
    std::string text = TextOf(entry.path());
    Replace(text, "@DATE@", ReleaseDate());
    Replace(text, "@VERSION@", kVersion);
    Replace(text, "@SYSCONFDIR@", installed.settings);
    Replace(text, "@DOCDIR@", installed.docs);
    Replace(text, "@MANUAL_OPTIONS@\n", ManOfOptions(archiver, ""));
    Replace(text, "@DAEMON_OPTIONS@\n", ManOfOptions(archiver, "Automatic runs"));
    pages["man/man" + name.substr(name.rfind('.') + 1) + "/" + name] = text;
  }
}

// The page of docs/psltool/ that has a section of this name; empty: none.
std::string SectionOf(const fs::path& folder, const std::string& command) {
  if (!fs::is_directory(folder)) return "";
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() != ".md") continue;
    if (TextOf(entry.path()).find("\n## " + command + "\n") != std::string::npos) {
      return entry.path().filename().string();
    }
  }
  return "";
}

}  // namespace

Pages InstalledPages(const std::string& source, const Installed& installed) {
  const Completed psltool = {PsltoolFacts(), {"today", "yesterday", "now", "-1d", "-7d", "-1m"}};
  const Completed archiver = {ArchiverFacts(), {"0d", "1d", "7d", "1m", "1y"}};
  Pages pages;
  pages["man/man1/psltool.1"] = ManOfProgram(psltool.program, installed.docs);
  for (const CommandFacts& command : psltool.program.commands) {
    const std::string told = SectionOf(fs::path(source) / "docs/psltool", command.name);
    pages["man/man1/psltool-" + command.name + ".1"] = ManOfCommand(
        psltool.program, command, told.empty() ? "" : installed.docs + "/docs/psltool/" + told);
  }
  std::string end = kFormatEnd;
  Replace(end, "@DOCDIR@", installed.docs);
  // The second page of the two goes on where the first ends.
  const std::string entries = TextOf(fs::path(source) / "docs/format-entries.md");
  pages["man/man5/psl.5"] = ManOfMarkdown(
      {"psl", "5", "File Formats", "performance statistics logs and archives"},
      TextOf(fs::path(source) / "docs/format.md") + entries.substr(entries.find("\n## ")), end);
  AddWritten(fs::path(source) / "packaging/man", installed, pages);
  for (const Completed* program : {&psltool, &archiver}) {
    const std::string& name = program->program.name;
    pages["completion/bash/" + name] = BashCompletion(*program);
    pages["completion/zsh/_" + name] = ZshCompletion(*program);
    pages["completion/fish/" + name + ".fish"] = FishCompletion(*program);
  }
  for (auto& [name, text] : pages) {
    if (name.starts_with("man/")) text = Tidied(text);
  }
  return pages;
}

Pages DocsPages(const std::string& source) {
  const CommandFacts program = PsltoolFacts();
  Pages pages;
  pages["docs/commands/README.md"] = DocsOfProgram(program);
  for (const CommandFacts& command : program.commands) {
    const std::string told = SectionOf(fs::path(source) / "docs/psltool", command.name);
    pages["docs/commands/" + command.name + ".md"] = DocsOfCommand(
        program, command, told.empty() ? "" : "../psltool/" + told + "#" + command.name);
  }
  return pages;
}

}  // namespace psltool
