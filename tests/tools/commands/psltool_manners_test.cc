// What all commands of psltool have in common: help, versions, statuses, and how they end when
// readers, disks or people stop them.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/runs/nights.h"
#include "tests/support/tempdir.h"
#include "tests/support/terminal.h"

namespace {

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// The commands that a help text lists.
std::vector<std::string> CommandsIn(const std::string& help) {
  const std::set<std::string> headings = {
      "Look:", "Prove:", "Mend:", "Take out:", "Run:", "Make:", "Commands:"};
  std::vector<std::string> commands;
  bool listed = false;
  std::istringstream stream(help);
  for (std::string line; std::getline(stream, line);) {
    if (!line.starts_with("  ")) {
      listed = headings.contains(line);
    } else if (listed && line[2] != ' ') {
      commands.push_back(Words(line).front());
    }
  }
  return commands;
}

std::vector<std::vector<std::string>> AllCommands() {
  std::vector<std::vector<std::string>> all;
  for (const std::string& command : CommandsIn(RunProgram(PSLTOOL_PATH, {"--help"}).out)) {
    all.push_back({command});
    for (const std::string& below : CommandsIn(RunProgram(PSLTOOL_PATH, {command, "--help"}).out)) {
      all.push_back({command, below});
    }
  }
  return all;
}

TEST(PsltoolManners, EveryCommandTellsStatusesVersionAndExamples) {
  const auto commands = AllCommands();
  EXPECT_GE(commands.size(), 19U);
  const ProgramResult version = RunProgram(PSLTOOL_PATH, {"--version"});
  EXPECT_EQ(version.out, "psltool     Version 7.4.003\n");
  EXPECT_EQ(version.status, 0);
  for (std::vector<std::string> command : commands) {
    const std::string name = command.back();
    command.emplace_back("--help");
    const ProgramResult help = RunProgram(PSLTOOL_PATH, command);
    EXPECT_EQ(help.status, 0) << name;
    EXPECT_EQ(help.err, "") << name;
    EXPECT_NE(help.out.find("Exit status: 0 "), std::string::npos) << name;
    EXPECT_NE(help.out.find("--version"), std::string::npos) << name;
    EXPECT_NE(help.out.find("Example"), std::string::npos) << name;
    command.back() = "--version";
    const ProgramResult result = RunProgram(PSLTOOL_PATH, command);
    EXPECT_EQ(result.status, 0) << name;
    EXPECT_EQ(result.out, version.out) << name;
    command.back() = "--no-such-option";
    const ProgramResult refused = RunProgram(PSLTOOL_PATH, command);
    EXPECT_EQ(refused.status, 2) << name;
    EXPECT_TRUE(refused.err.starts_with("psltool: ")) << refused.err;
    command.pop_back();
    std::string words = "psltool";
    for (const std::string& word : command) words += " " + word;
    EXPECT_TRUE(refused.err.ends_with("; " + words + " --help tells the options\n")) << refused.err;
  }
  for (const char* name : {"dump", "export", "health", "info", "make", "show", "top"}) {
    EXPECT_NE(RunProgram(PSLTOOL_PATH, {name, "--help"}).out.find("--utc"), std::string::npos)
        << name;
  }
}

class PsltoolMannersOverFiles : public testing::Test {
 protected:
  // A log that makes more text than a pipe holds, and an archive.
  void SetUp() override {
    ASSERT_EQ(Sh("\"$0\" make -q --interval 900 --days 2 --ld 16 --pd 16").status, 0);
    ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"20240304array01.psl"}, {dir_.Path(), {}}).status, 0);
    dir_.Write("cut.bin", dir_.Read("20240305array01.psl").substr(0, 100000));
  }
  ProgramResult Sh(const std::string& script) const {
    return RunProgram("/bin/sh", {"-c", script, PSLTOOL_PATH}, {dir_.Path(), {}});
  }

  TempDir dir_;
};

// Ended by the signal, whether or not the caller ignores it, without a word.
TEST_F(PsltoolMannersOverFiles, AReaderThatGoesAwayEndsTheCommand) {
  for (const std::string command :
       {"dump 20240304array01.psl", "export --to csv 20240304array01.psl",
        "export --to ndjson 20240304array01.psl", "export --to openmetrics 20240304array01.psl"}) {
    for (const std::string before : {"", "trap '' PIPE; "}) {
      const ProgramResult result =
          Sh(before + "{ \"$0\" " + command + "; echo $? > status; } | head -n 1");
      EXPECT_EQ(result.status, 0);
      EXPECT_EQ(result.err, "") << command;
      EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << command;
      EXPECT_EQ(dir_.Read("status"), std::to_string(128 + SIGPIPE) + "\n") << command;
    }
  }
}

TEST_F(PsltoolMannersOverFiles, AFullDiskBehindTheOutputIsTold) {
  for (const std::string command :
       {"check 20240304array01.psl", "check --json 20240304array01.psl", "dump 20240304array01.psl",
        "export --to csv 20240304array01.psl", "export --to ndjson 20240304array01.psl",
        "export --to openmetrics 20240304array01.psl", "info 20240304array01.psl",
        "info --json 20240304array01.psl", "make --days 9 --interval 21600 -o more",
        "salvage cut.bin -o saved.psl", "seal .", "seal --json .",
        "show 20240304array01.psl 20240305array01.psl", "top 20240304array01.psl",
        "top --json 20240304array01.psl", "segment make --root /r --archive /a", "--help",
        "--version", "dump --help"}) {
    const ProgramResult result = Sh("exec \"$0\" " + command + " > /dev/full");
    EXPECT_EQ(result.status, 2) << command;
    EXPECT_EQ(result.err, "psltool: standard output: cannot be written\n") << command;
  }
}

TEST_F(PsltoolMannersOverFiles, ALimitOfFileSizesLeavesNothingBehind) {
  const std::vector<std::string> before = dir_.Names();
  for (const std::string command :
       {"make -q --start 2025-01-01", "salvage 20240304array01.psl -o new.psl",
        "export --to csv -o new.csv 20240304array01.psl",
        "export --to ndjson -o new.json 20240304array01.psl",
        "export --to openmetrics -o new.om 20240304array01.psl",
        "export --to sqlite -o new.db 20240304array01.psl"}) {
    const ProgramResult result = Sh("ulimit -c 0; ulimit -f 64; exec \"$0\" " + command);
    EXPECT_EQ(result.status, 2) << command << result.err;
    EXPECT_EQ(result.err.substr(0, 9), "psltool: ") << command;
    EXPECT_EQ(dir_.Names(), before) << command;
  }
  // A database that exists keeps what it has.
  ASSERT_EQ(Sh("\"$0\" export --to sqlite -o old.db 20240304array01.psa --kind ld").status, 0);
  EXPECT_EQ(Sh("ulimit -f 64; exec \"$0\" export --to sqlite -o old.db 20240304array01.psl").status,
            2);
  const ProgramResult again =
      Sh("\"$0\" export --to sqlite -o old.db 20240304array01.psa --kind ld");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_FALSE(dir_.Exists("old.db-journal"));
}

TEST_F(PsltoolMannersOverFiles, NothingIsColoured) {
  for (const std::string command :
       {"check . cut.bin", "dump 20240304array01.psa", "info 20240304array01.psl",
        "show 20240304array01.psa", "top 20240304array01.psa", "seal .",
        "export --to csv 20240304array01.psa", "--help"}) {
    const ProgramResult result = Sh("TERM=xterm-256color exec \"$0\" " + command);
    EXPECT_NE(result.out, "") << command;
    EXPECT_EQ((result.out + result.err).find('\x1b'), std::string::npos) << command;
  }
}

bool HasNameLike(const TempDir& dir, std::string_view end) {
  const std::vector<std::string> names = dir.Names();
  return std::any_of(names.begin(), names.end(),
                     [end](const std::string& name) { return name.ends_with(end); });
}

// Once, tests that were started with nohup, or in the background of a script, waited here for
// signals that never came.
TEST(PsltoolMannersUnderTest, SignalsAreNotIgnoredAsTheTestsIgnoreThem) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const auto before = signal(number, SIG_IGN);
    const std::string name = std::to_string(number);
    const ProgramResult result = RunProgram("/bin/sh", {"-c", "kill -" + name + " $$; echo on"});
    signal(number, before);
    EXPECT_EQ(result.status, 128 + number);
    EXPECT_EQ(result.out, "");
  }
}

// Started with nohup and the like, a command goes on.
TEST_F(PsltoolMannersOverFiles, ASignalThatIsIgnoredEndsNothing) {
  TempDir dir;
  RunningProgram make("/bin/sh",
                      {"-c", "trap '' HUP INT; exec \"$0\" make -q --interval 1 --ld 500 -o \"$1\"",
                       PSLTOOL_PATH, dir.Path()});
  while (!HasNameLike(dir, ".part")) usleep(1000);
  kill(make.pid(), SIGHUP);
  kill(make.pid(), SIGINT);
  kill(make.pid(), SIGTERM);
  EXPECT_EQ(make.Wait().status, 128 + SIGTERM);
  EXPECT_EQ(dir.Names(), std::vector<std::string>{});
}

// Whoever interrupts a command finds no half file.
TEST_F(PsltoolMannersOverFiles, ASignalRemovesWhatIsUnfinished) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    TempDir dir;
    RunningProgram make(PSLTOOL_PATH,
                        {"make", "-q", "--interval", "1", "--ld", "500", "-o", dir.Path()});
    while (!HasNameLike(dir, ".part")) usleep(1000);
    kill(make.pid(), number);
    EXPECT_EQ(make.Wait().status, 128 + number);
    EXPECT_EQ(dir.Names(), std::vector<std::string>{});
  }
  TempDir dir;
  std::vector<std::string> arguments = {"export", "--to", "sqlite", "-o", dir.Path("x.db")};
  for (int i = 0; i < 40; ++i) {
    arguments.push_back(dir_.Path(std::to_string(i) + ".psl"));
    std::filesystem::create_symlink("20240304array01.psl", arguments.back());
  }
  RunningProgram database(PSLTOOL_PATH, arguments);
  while (!HasNameLike(dir, ".part-journal")) usleep(1000);
  kill(database.pid(), SIGTERM);
  EXPECT_EQ(database.Wait().status, 128 + SIGTERM);
  EXPECT_EQ(dir.Names(), std::vector<std::string>{});
}

// A terminal for standard error, and a clock that runs so fast that every run is a long one.
TEST_F(PsltoolMannersOverFiles, ALongRunShowsItsProgressOnATerminal) {
  SKIP_WITHOUT_PRELOADING();
  for (const std::string command :
       {"check 20240304array01.psl", "info 20240304array01.psl", "seal .",
        "top 20240304array01.psl", "export --to csv 20240304array01.psl",
        "export --to sqlite -o x.db 20240304array01.psl", "show 20240304array01.psl",
        "dump 20240304array01.psl", "make -o more", "salvage 20240304array01.psl -o good.psl"}) {
    int status = -1;
    const std::string shown =
        OnTerminal("LD_PRELOAD=" FAKETIME_PATH " FAKETIME='+0 x20000' \"$0\" " + command + " > out",
                   dir_.Path(), &status);
    EXPECT_EQ(status, 0) << command << shown;
    ASSERT_GE(shown.size(), 4U) << command;
    EXPECT_NE(shown.find("20240304array01.ps"), std::string::npos) << command << shown;
    EXPECT_NE(shown.find("%\x1b[K"), std::string::npos) << command << shown;
    // In the end the line is empty again, and nothing of it went into the output.
    EXPECT_EQ(shown.substr(shown.size() - 4), "\r\x1b[K") << command;
    EXPECT_EQ(dir_.Read("out").find('\x1b'), std::string::npos) << command;
  }
}

// What stands under the names of unfinished files belongs to somebody else: a link there was
// written through once. Two runs with one output wrote into each other's file.
TEST_F(PsltoolMannersOverFiles, NothingIsWrittenThroughWhatStandsInTheWay) {
  for (const std::string command :
       {"salvage 20240304array01.psl -o new.out", "export --to csv -o new.out 20240304array01.psl",
        "export --to sqlite -o new.out 20240304array01.psl", "seal ."}) {
    const std::string out = command == "seal ." ? "SHA256SUMS" : "new.out";
    dir_.Write("victim", "as it was");
    const ProgramResult result = Sh("ln -s victim " + out + ".part; ln -s victim " + out +
                                    ".$$.part; exec \"$0\" " + command);
    EXPECT_EQ(result.status, 0) << command << result.err;
    EXPECT_EQ(dir_.Read("victim"), "as it was") << command;
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(dir_.Path(out))))
        << command;
    EXPECT_GT(dir_.Read(out).size(), 60U) << command;
    ASSERT_EQ(Sh("rm " + out + " *.part").status, 0);
  }
}

TEST_F(PsltoolMannersOverFiles, TwoRunsWithOneOutputAreNotInEachOthersWay) {
  ASSERT_EQ(Sh("\"$0\" export --to csv -o expected.csv 20240304array01.psl").status, 0);
  const ProgramResult result = Sh(
      "for i in 1 2 3 4; do \"$0\" export --to csv -o both.csv 20240304array01.psl & done; wait");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(dir_.Read("both.csv"), dir_.Read("expected.csv"));
  EXPECT_FALSE(HasNameLike(dir_, ".part"));
}

// Names of files, and what is printed of them, do not take over the terminal.
TEST_F(PsltoolMannersOverFiles, ATerminalGetsNoControlCharactersOfNames) {
  const std::string name =
      "a\x1b]0;owned\x07\xc2\x9b"
      "2J\nb\x7f\xc3\xa9.psl";
  dir_.MakeDirectory("names");
  dir_.Write("names/" + name, dir_.Read("20240304array01.psl"));
  dir_.Write("names/x" + name, dir_.Read("cut.bin"));
  const std::string shown_name = "a\\x1b]0;owned\\x07\\xc2\\x9b2J\\nb\\x7f\xc3\xa9.psl";
  for (const std::string command :
       {"check names", "info names", "show names", "top --by busy names/x*", "dump names/x*",
        "check names/none*$(printf '\\033')", "salvage names/x* -o \"names/$(printf 'z\\033')\"",
        "audit --archive 20240304array01.psa names/*", "frob$(printf '\\033')",
        "dump --frob$(printf '\\033')"}) {
    const std::string shown = OnTerminal("\"$0\" " + command, dir_.Path());
    EXPECT_NE(shown, "") << command;
    EXPECT_TRUE(std::none_of(
        shown.begin(), shown.end(),
        [](char c) {
          return (static_cast<unsigned char>(c) < 0x20 && c != '\r' && c != '\n') || c == 0x7F;
        }))
        << command << shown;
    EXPECT_EQ(shown.find("\xc2\x9b"), std::string::npos) << command;
    if (command.find("names/*") == std::string::npos && command.starts_with("check names")) {
      EXPECT_NE(shown.find("\\x1b"), std::string::npos) << command << shown;
    }
  }
  // Programs that read a pipe get the bytes; failures are one line wherever they go.
  EXPECT_NE(Sh("exec \"$0\" info names").out.find(name), std::string::npos);
  const std::string err = Sh("exec \"$0\" dump names/x*").err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  EXPECT_NE(err.find("x" + shown_name.substr(0, 4)), std::string::npos) << err;
}

// Ordinary names and texts are the same there and in a pipe.
TEST_F(PsltoolMannersOverFiles, ATerminalGetsWhatAPipeGets) {
  for (const std::string command :
       {"check . cut.bin", "dump --kind ld 20240304array01.psa", "info .",
        "show 20240304array01.psa", "top 20240304array01.psa", "salvage cut.bin -o s.psl --force",
        "units --tsv .", "units --json .", "info --json .", "export --to csv 20240304array01.psa",
        "audit --archive 20240304array01.psa 20240304array01.psl", "--help",
        "explain --archive 20240304array01.psa --kind ld --key 1 --at 2024-03-04 --all "
        "20240304array01.psl"}) {
    std::string shown = OnTerminal("LC_ALL=C.UTF-8 TZ=UTC \"$0\" " + command, dir_.Path());
    std::erase(shown, '\r');
    const ProgramResult piped = Sh("LC_ALL=C.UTF-8 TZ=UTC exec \"$0\" " + command + " 2>&1");
    EXPECT_EQ(shown, piped.out) << command;
  }
}

TEST(PsltoolManners, HelpInFrontIsHelpBehind) {
  const std::vector<std::vector<std::string>> commands = {{}, {"show"}, {"segment", "make"}};
  for (std::vector<std::string> command : commands) {
    std::vector<std::string> asked = command;
    asked.insert(asked.begin(), "help");
    command.emplace_back("--help");
    const ProgramResult behind = RunProgram(PSLTOOL_PATH, command);
    const ProgramResult in_front = RunProgram(PSLTOOL_PATH, asked);
    EXPECT_EQ(in_front.status, 0);
    EXPECT_EQ(in_front.out, behind.out);
    EXPECT_EQ(in_front.err, "");
    EXPECT_GT(behind.out.size(), 100U);
  }
}

TEST(PsltoolManners, AMistypedCommandIsNamedWithTheNearestOne) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"dmup", "x.psl"}, "\"dmup\" is no command, the nearest one is \"dump\"; psltool --help"},
      {{"sela"}, "\"sela\" is no command, the nearest one is \"seal\"; psltool --help"},
      {{"exlpain"}, "\"exlpain\" is no command, the nearest one is \"explain\"; psltool --help"},
      {{"healthy"}, "\"healthy\" is no command, the nearest one is \"health\"; psltool --help"},
      {{"zzzz"}, "\"zzzz\" is no command; psltool --help"},
      // Asked for help, it told the list of commands and status 0.
      {{"sohw", "--help"}, "\"sohw\" is no command, the nearest one is \"show\"; psltool --help"},
      {{"help", "sohw"}, "\"sohw\" is no command, the nearest one is \"show\"; psltool --help"},
      {{"sohw", "--version"},
       "\"sohw\" is no command, the nearest one is \"show\"; psltool --help"},
      {{"segment", "mkae", "--help"},
       "\"mkae\" is no command, the nearest one is \"make\"; psltool segment --help"},
      {{}, "A command is required; psltool --help"},
      {{"segment"}, "A command is required; psltool segment --help"},
      {{"segment", "sohw", "1"},
       "\"sohw\" is no command, the nearest one is \"show\"; psltool segment --help"}};
  for (const auto& [arguments, expected] : cases) {
    const ProgramResult result = RunProgram(PSLTOOL_PATH, arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "psltool: " + expected + " tells the commands\n");
    EXPECT_EQ(result.out, "");
  }
  const ProgramResult option = RunProgram(PSLTOOL_PATH, {"dump", "x.psl", "--kidn", "ld"});
  EXPECT_EQ(option.status, 2);
  EXPECT_NE(option.err.find(", the nearest one is \"--kind\"; psltool dump --help"),
            std::string::npos)
      << option.err;
  // In front of a command, too: the library says first that the command is missing.
  const ProgramResult global = RunProgram(PSLTOOL_PATH, {"--verson"});
  EXPECT_EQ(global.status, 2);
  EXPECT_EQ(global.err,
            "psltool: The following argument was not expected: --verson, the nearest one is "
            "\"--version\"; psltool --help tells the options\n");
}

}  // namespace
