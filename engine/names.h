// Names of logs and archives taken apart and put together: "dir/20240304array01#002.psl" is the
// second log of the array "array01" of 4 March 2024. Nothing here looks at files or at the run.
//
// A name may hold more than one "#" and ".", and then it matters at which it is cut. There are
// three readings, each for one purpose; for names as collectors make them they agree:
//   order      last "#", without one the last ".":   order of inputs, and which are of one day
//   selection  first "#", without one the first ".": which files belong to one archive of a night
//   output     first "#" or ".", whichever is first: what the archive made of it is called
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

inline constexpr size_t kMonthDigits = 6;  // YYYYMM
inline constexpr size_t kDayDigits = 8;    // YYYYMMDD

inline constexpr std::string_view kLogExtension = ".psl";
inline constexpr std::string_view kArchiveExtension = ".psa";
inline constexpr std::string_view kTemporaryEnd = "_tmp";  // behind that of an archive being made

// A date as struct tm counts: years since 1900, months from 0.
struct FileDate {
  int year;
  int month;
  int day;
};

// What follows the last "/", and what ends with it.
std::string_view BaseName(std::string_view path);
std::string_view DirectoryPart(std::string_view path);

// True when the text from the last "." of `name` on is `extension` (which includes the ".").
inline bool HasExtension(std::string_view name, std::string_view extension) {
  return name.ends_with(extension);
}
inline bool IsLogName(std::string_view name) { return HasExtension(name, kLogExtension); }
inline bool IsArchiveName(std::string_view name) { return HasExtension(name, kArchiveExtension); }

// An archive under its temporary name, whatever follows that; and the name of the archive.
bool IsTemporaryName(std::string_view name);
std::string_view ArchiveOfTemporary(std::string_view name);

// Where automatic runs keep a file: names with ".psl" lie in the archive directory (that decides,
// whatever else a name holds), all others in its "archive" subdirectory.
bool LiesInArchive(std::string_view name);

bool BeginsWithDigits(std::string_view name, size_t count);

// "2024-03-04" of "20240304...", or "2024-03" with kMonthDigits of them.
std::string DateOfDigits(std::string_view name, size_t count);

// The first day of a name's month: "20240301" of "202403...".
std::string FirstDayOf(std::string_view name);

// --- order ---------------------------------------------------------------------------------

// The base name up to the sequence number: date and array.
std::string_view StemInOrder(std::string_view path);

// What of it follows the eight characters of the date; and the number, "#001" without one.
std::string_view SortedArrayOf(std::string_view path);
std::string_view SequenceOf(std::string_view path);

// Inputs are put in the order of these texts, one behind the other: array, date, sequence number.
std::array<std::string_view, 3> OrderParts(std::string_view path);
std::string OrderKeyOf(std::string_view path);

// The path up to the sequence number. Two that are equal so far are of the same day of the same
// array; directories count.
std::string_view DayPathOf(std::string_view path);
bool OfSameDay(std::string_view left, std::string_view right);

// --- selection -----------------------------------------------------------------------------

// Date and array: files with the same day key belong to the same hour archive, which has that key
// itself; those with the same month key to the same day archive, whose day key that is.
std::string DayKeyOf(std::string_view path);
std::string MonthKeyOf(std::string_view path);
std::string MonthKeyOfDay(const std::string& day_key);

// The name of the hour archive that a manual directory run takes instead of a log: cut at the first
// "#", without one at the extension.
std::string ArchiveOfLog(std::string_view log);

// The name of a log of a day; `sequence`: its number where the day has several, else 0.
std::string LogName(const FileDate& date, std::string_view array, unsigned sequence);

// --- output --------------------------------------------------------------------------------

// The base name without number and extension.
std::string_view StemOf(std::string_view path);

// The array: what of the stem follows the eight characters of the date. None when the name is too
// short or has no ".".
std::optional<std::string_view> ArrayOf(std::string_view path);

// True when both name the same array, and begin with the same month.
bool OfSameMonth(std::string_view left, std::string_view right);

// The name of an archive of `level` ("H" or "D").
std::string ArchiveName(char level, const FileDate& date, std::string_view array);

// The next file of an archive: "x.psa" -> "x#002.psa" -> "x#003.psa". The directory is kept.
std::string SequelName(std::string path);

// True of names like that of a sequel.
bool IsSequelName(std::string_view name);

// True when `name` is "<stem>.psa" or a sequel of it.
bool IsArchiveOf(std::string_view stem, std::string_view name);

// Of an output of an automatic run: its temporary name, and the final one of that.
std::string TemporaryOf(std::string_view name);
std::string FinalOf(std::string_view temporary);
