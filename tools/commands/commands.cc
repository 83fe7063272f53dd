// The table of commands: see the header.
#include "tools/commands/commands.h"

namespace psltool {

namespace {

// Headings of the list, in its order; the pages of docs/psltool/ are called the same.
constexpr const char* kLook = "Look";
constexpr const char* kProve = "Prove";
constexpr const char* kMend = "Mend";
constexpr const char* kTakeOut = "Take out";
constexpr const char* kRun = "Run";
constexpr const char* kMake = "Make";

constexpr CommandRow kCommands[] = {
    {kLook, "info", "Tell what files are and hold",
     "\"words\" are the extended words that each full entry of the kind carries, \"of\" those "
     "that\n"
     "the revision knows. A count like \"3 to 4\" is that of several structure records.\n\n"
     "Exit status: 0 done, 1 a file is broken (what stands in front of the place is told), 2 a\n"
     "file could not be read or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool info 20240304array01.psl\n"
     "  psltool info --utc archive/*.psa\n"
     "  psltool info --json 20240304array01.psl | jq '.[0].records'",
     AddInfoCommand},
    {kLook, "show", "Show the history of one resource as a table",
     "A bar of # shows the mean rate of the period, a | behind it the highest rate in it; of "
     "kinds\n"
     "that count nothing the busy ratio. Without --key it is the first resource of the kind.\n\n"
     "Exit status: 0 done, 1 a file is broken or does not hold what is asked for, 2 a file could\n"
     "not be read or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool show archive/20240304array01.psa --kind ld --key 21\n"
     "  psltool show archive/20240304array01.psa --key 21 --from \"2024-03-04 08:00\" --json\n"
     "  psltool show archive/202403array01.psa --kind pd --key 1.4 --group 2",
     AddShowCommand},
    {kLook, "top", "The busiest resources over a span of time",
     "Files of one array are added up, several arrays stay apart. Means are weighted by "
     "operations,\n"
     "busy ratios by time; \"ops\" are ranked by their number in the whole span. \"peak\" is the "
     "largest\n"
     "value of the measure, of an interval where files carry it, else of a record, and \"peak "
     "in\" its\n"
     "time. The line at the end shows the measure over time, scaled to its own largest value, "
     "blank\n"
     "without a record. Behind the resources stands what all of an array amount to.\n\n"
     "Exit status: 0 done, 1 a file is broken (what stands in front of the place counts), or\n"
     "nothing has the measure, 2 a file could not be read or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool top archive/202403*.psa\n"
     "  psltool top --by busy -n 5 --kind pd 20240304array01.psl --from \"2024-03-04 09:00\"\n"
     "  psltool top --by max --json archive/*.psa | jq -r '.resources[0].key'",
     AddTopCommand},
    {kLook, "report", "A page to look at in a browser, in one file",
     "One file with everything in it: what was busy when, of every array and resource, with the\n"
     "largest and smallest interval beside each mean. It is opened from disk, asks no server, and\n"
     "can be mailed. Where logs, hour and day archives tell of the same time the finest counts.\n"
     "The busiest resources are told in full as far as --size reaches, the others in steps of "
     "time.\n\n"
     "Exit status: 0 done, 1 a file is broken (what stands in front of the place is in the page), "
     "or\n"
     "no file has a record of the time or of the key, 2 a file could not be read or the page not\n"
     "written, or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool report archive/202403*.psa -o march.html\n"
     "  psltool report logs archive --from -7d -o week.html\n"
     "  psltool report --kind ld --size 30 archive/*.psa",
     AddReportCommand},
    {kLook, "dump", "Print the entries of a file, field by field",
     "Rates and percentages are computed from the words; \"ops\" are operations, the means are "
     "per\n"
     "operation and in the unit of the file. In tables each counter group has a line of its own, "
     "and\n"
     "columns that have no room in 120 characters are left out, unless --wide is given.\n"
     "--raw adds the words as they stand: offset, ratio, q0 to q3 of each group, extended "
     "words.\n\n"
     "Exit status: 0 done, 1 the file is broken (what stands in front of the place is printed)\n"
     "or has no record of the time or none of the key, 2 the file could not be read or the "
     "command line is wrong.\n\n"
     "Examples:\n"
     "  psltool dump 20240304array01.psl --kind ld --key 21\n"
     "  psltool dump 20240304array01.psl --kind pd --from \"2024-03-04 09:00\" --format csv\n"
     "  psltool dump archive/20240304array01.psa --utc --format ndjson | jq .g1_ops_per_s",
     AddDumpCommand},
    {kLook, "compare", "Two spans side by side: what rose, fell, appeared, went",
     "Either the files of both spans stand on both sides of --, or --before and --after tell the\n"
     "spans of the same files. \"weight\" is the part of the whole that moved, in percent, by "
     "which\n"
     "changes are ranked; values are means of the spans. Median, 95th percentile and maximum are\n"
     "those of the intervals: records of logs, hours and days of archives.\n\n"
     "Exit status: 0 done, 1 a file is broken (what stands in front of the place counts), or a\n"
     "span holds no record, 2 a file could not be read or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool compare archive/20240304array01.psa -- archive/20240311array01.psa\n"
     "  psltool compare --before \"last week\" --after \"this week\" --match both archive\n"
     "  psltool compare --kind ld -m ops -m busy --json old/*.psa -- new/*.psa",
     AddCompareCommand},
    {kLook, "chart", "Draw the values of one resource over time, as SVG or PNG",
     "The line is the mean of each interval, hour or day, the band around it goes from the "
     "smallest\n"
     "to the largest single interval, where files carry extremes. Without --key it is all of the\n"
     "kind together; several arrays have a line each.\n\n"
     "Exit status: 0 done, 1 a file is broken (what stands in front of the place is drawn), or\n"
     "there is nothing to draw, 2 a file could not be read or written or the command line is "
     "wrong.\n\n"
     "Examples:\n"
     "  psltool chart archive/20240304array01.psa --kind ld --key 21 -o ld21.svg\n"
     "  psltool chart archive/*.psa -k pd --key 1.4 -m busy --from \"last week\" -o pd.png",
     AddChartCommand},
    {kProve, "check", "Tell whether files are what the archiver takes",
     "An error is what the archiver refuses or breaks off at, a warning what it takes although "
     "it\n"
     "is odd. One line per finding: file, offset in bytes, severity, record, field, class.\n"
     "Where SHA256SUMS stands beside a file and has a line for it, the digest is compared, "
     "too;\n"
     "of directories also whether all files that it has a line for are there.\n\n"
     "Exit status: 0 no errors (with --strict: no findings), 1 findings, 2 a file could not be\n"
     "read, the directories hold no log or archive, or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool check 20240304array01.psl\n"
     "  psltool check --strict /var/opt/pmon/log\n"
     "  psltool check --json archive | jq '.files[] | select(.errors > 0) | .path'",
     AddCheckCommand},
    {kProve, "audit", "Prove that archives hold what their inputs held",
     "The archive is computed anew from its inputs, with arithmetic of its own, and compared "
     "byte\n"
     "for byte. One line per difference: file, offset, record, resource, field, both values as\n"
     "they stand in the file. Local time, --utc for UTC. Use the time zone of the machine that\n"
     "made the archive: days of older files are those of its local time.\n\n"
     "Exit status: 0 the archive agrees, 1 findings (with --strict also an archive of --all that\n"
     "has no inputs left), 2 a file could not be read, the directory of --all holds no archive, "
     "or\n"
     "the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool audit --archive 20240304array01.psa 20240304array01.psl\n"
     "  psltool audit --archive 202403array01.psa archive/202403??array01.psa\n"
     "  psltool audit --all /var/opt/pmon/archive --logs /var/opt/pmon --json",
     AddAuditCommand},
    {kProve, "explain", "Tell how one stored number of an archive came about",
     "Shows the intervals that went into a record of an archive, what they add up to and which "
     "of\n"
     "them held a peak (\"^\" the largest, \"v\" the smallest value). The numbers are computed "
     "anew\n"
     "from the inputs as `psltool audit` does it; where the archive holds another one, that is "
     "told.\n\n"
     "Exit status: 0 done, 1 the archive holds other numbers, or has no such record or resource, "
     "or\n"
     "an input is broken, 2 a file could not be read or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool explain --archive 20240308osaka01.psa --kind ld --key 42 \\\n"
     "      --at \"2024-03-08 14:30\" 20240308osaka01.psl\n"
     "  psltool explain --archive 202403osaka01.psa --kind ld --key 42 --at 2024-03-08 \\\n"
     "      --field g1_max hour/202403??osaka01.psa",
     AddExplainCommand},
    {kProve, "seal", "Keep the digests of a directory's files in SHA256SUMS",
     "New archives (.psa) and logs (.psl) of days that are over are added when `check` finds no\n"
     "error in them. What is sealed already keeps its line; a digest that differs is a finding, "
     "never sealed anew in passing. The file\n"
     "is that of sha256sum: \"cd DIR && sha256sum -c SHA256SUMS\". `check` looks at it, too.\n\n"
     "Exit status: 0 done, 1 findings (a sealed file differs or is gone, a new archive is "
     "broken;\n"
     "the rest is sealed), 2 something could not be read or written or the command line is wrong\n"
     "(SHA256SUMS is as it was).\n\n"
     "Examples:\n"
     "  psltool seal archive\n"
     "  psltool seal archive --forget            nightly, where archives expire\n"
     "  psltool seal archive --renew 20240304array01.psa",
     AddSealCommand},
    {kProve, "limits", "Tell what passed limits that a file of rules sets",
     "A rule is a line like \"ld busy max > 80 % for 3 hours\" or \"hp,rp ops p95 > 5000 on "
     "mon-fri\n"
     "between 08:00 and 18:00\"; docs/psltool/prove.md has the grammar. One line per breach: rule, "
     "resource,\n"
     "worst value, limit and time. --openmetrics is for a collector that reads text files.\n\n"
     "Exit status: 0 nothing passed a limit, 1 something did, a file is broken (what stands in "
     "front\n"
     "of the place counts) or holds nothing of the time, 2 a file or the rules could not be read, "
     "or\n"
     "the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool limits --rules limits.rules --from yesterday --to yesterday archive\n"
     "  psltool limits --rules limits.rules --json 20240304array01.psa | jq '.breaches[0]'\n"
     "  psltool limits --rules limits.rules --openmetrics -o psl.prom archive/*.psa",
     AddLimitsCommand},
    {kMend, "salvage", "Copy the sound records of a damaged file into a new one",
     "Without --resync the copy ends in front of the first record that the archiver would not\n"
     "take. With it, later records that are sound are looked for and copied as well; statistics\n"
     "behind a broken structure record are left out up to the next sound one, unless --structure\n"
     "names a file of another day of the same array to take it from (this includes --resync).\n"
     "A record that is followed by bytes that are no record is suspect: where bytes were lost or\n"
     "put in, its content is shifted though its length still fits. It is told, and left out.\n\n"
     "Exit status: 0 the new file is written, 1 nothing could be saved (no file is written), 2 a\n"
     "file could not be read or written or the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool salvage 20240304array01.psl -o saved/20240304array01.psl\n"
     "  psltool salvage --resync 20240304array01.psl -o saved/20240304array01.psl\n"
     "  psltool salvage --structure 20240303array01.psl 20240304array01.psl -o saved.psl",
     AddSalvageCommand},
    {kTakeOut, "export", "Rows for spreadsheets, databases and time-series engines",
     "One row per value: time, array, kind, key, metric, statistic, value, unit, level, begin and "
     "end\n"
     "of the period. Values are those of `dump`; what an entry does not say has no row. \"wide\" "
     "is "
     "CSV\n"
     "with one row per resource and time, one column per metric and statistic. Into a database "
     "(sqlite)\n"
     "a file can be exported again: its rows are replaced. OpenMetrics and databases sort by way "
     "of "
     "a\n"
     "temporary file beside OUT, without -o in $TMPDIR or /tmp. A text file OUT is written only "
     "when "
     "all\n"
     "files could be read and something was found.\n\n"
     "Exit status: 0 done, 1 a file is broken (what stands in front of the place is exported), "
     "or\n"
     "no file has a record of the time or of the key, 2 a file could not be read or written or "
     "the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool export --format csv 20240304array01.psl --kind ld --key 21 > ld21.csv\n"
     "  psltool export --format sqlite -o history.db archive/*.psa\n"
     "  psltool export --format ndjson --from 2024-03-04 --to 2024-03-05 logs/*.psl | gzip > "
     "two.gz\n"
     "  psltool export --format wide --kind ld --metric ops_rate --stat mean archive/*.psa\n"
     "  psltool export --format openmetrics -o history.om archive/*.psa",
     AddExportCommand},
    {kRun, "segment", "The configuration segment of automatic archiving",
     "Exit status: 0 done, 1 the segment is missing or refused, 2 the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool segment make --help\n"
     "  psltool segment show 7",
     AddSegmentCommand},
    {kRun, "health", "Tell whether the last night of automatic archiving went well",
     "What is looked at is told by --segment, or by --root and --archive: the trace file, the\n"
     "operation log, the lock and the archive directory. A finding is a line: PROBLEM or note, "
     "what\n"
     "it is about (run, failure, broken, leftover, missing, nodata, skipped, path), and which "
     "file.\n\n"
     "Exit status: 0 healthy, 1 not healthy, 2 not found out.\n\n"
     "Examples:\n"
     "  psltool health --segment 7 --json\n"
     "  psltool health --segment 7 --openmetrics -o /var/lib/prometheus/qelprfarc.prom",
     AddHealthCommand},
    {kRun, "plan", "What the next automatic run would archive, skip and remove",
     "Nothing is changed: no lock is taken, no line is written to a trace or log. The rules are\n"
     "those of the run itself. The inputs are read to their end, so that broken ones are known;\n"
     "with --no-read the plan trusts their headers. What goes without an archive of its day or\n"
     "month, and what the pruning of such a tree may do that nobody meant, is told in "
     "warnings.\n\n"
     "Exit status: 0 planned, 1 the run would end early, 2 nothing could be planned.\n\n"
     "Examples:\n"
     "  psltool plan --segment 7\n"
     "  psltool plan --segment 7 --at '2024-04-01 00:30' --json\n"
     "  psltool plan --root /srv/monitor --archive /srv/monitor/psl --keep-psl 30d --all\n"
     "  psltool plan --segment 7 --auto2 0 14 0",
     AddPlanCommand},
    {kRun, "units", "List the units of archiving work, for any scheduler",
     "A unit is one array and day (--level hour) or one array and month (--level day). One line\n"
     "per unit that is due: the command that does it. Units whose archive is there and newer "
     "than\n"
     "all inputs are done and left out, as are those whose day or month is not over.\n\n"
     "Exit status: 0 listed, 1 a unit could not be listed, 2 the directory could not be read or\n"
     "the command line is wrong.\n\n"
     "Examples:\n"
     "  psltool units -0 logs -o archive | xargs -0 -r -n 1 -P 4 sh -c\n"
     "  psltool units logs -o archive | parallel -j 4 --joblog jobs.log\n"
     "  psltool units --level day archive --tsv",
     AddUnitsCommand},
    {kRun, "unit", "Do one unit of archiving work",
     "The archiver works in a directory of its own; the archive is checked as by psltool check,\n"
     "brought to the disk and renamed. A unit that is done is left alone. It may be started any\n"
     "number of times, also twice at once: the second start waits for the first.\n\n"
     "Exit status: 0 the archive is there and sound, 1 it could not be made of these inputs,\n"
     "2 a file could not be read or written, or the command line is wrong.\n\n"
     "Example:\n"
     "  psltool unit -o archive logs 20240304array01",
     AddUnitCommand},
    {kMake, "make", "Make logs of arrays that do not exist",
     "Kinds that the revision lacks are left out. The same options make the same bytes.\n\n"
     "Exit status: 0 done, 2 a file could not be written or the command line is wrong; the files\n"
     "in front of it are whole.\n\n"
     "Examples:\n"
     "  psltool make --arrays 2 --days 3 -o logs\n"
     "  psltool make --revision 0x14 --interval 60 --ld 512 --extended full -o logs\n"
     "  psltool make --none --ld 4096 --interval 60 --profile flat -o logs",
     AddMakeCommand},
};

}  // namespace

std::span<const CommandRow> Commands() { return kCommands; }

}  // namespace psltool
