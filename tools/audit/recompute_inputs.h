// Inputs of an archive by their names: which array and day, in which order, into which archive.
//
// Independent of engine/names.h and engine/outname.cc, function by function: NameOfInput (ArrayOf
// there), ArrayInOrder and SortKeyOf (SortedArrayOf, OrderKeyOf), SortInputs (FSortFunc),
// SameDayNames (OfSameDay), SequelOf (the number that SequelName counts), BaseNameOf (BaseName),
// ArchiveStems (ArchiveName, and which date goes into it). Nobody but the audit, explain and
// output_choice calls them; who finds files for the audit asks engine/names.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/reading/psl_reader.h"

namespace psltool {

// "dir/20240304array01#002.psl" taken apart.
struct InputName {
  std::string date;  // eight digits (hour archives and logs), six (day archives)
  std::string array;
  std::string sequence;  // "#002"; "#001" when the name has none
};

// Of a log or hour archive: eight characters, the array's name, "#" and a number. Nothing: too
// short, or without an extension.
std::optional<InputName> NameOfInput(const std::string& path);

// The array of a name as the order of the inputs has it.
std::string_view ArrayInOrder(const std::string& path);

// What the archiver sorts by: array, date, sequence.
std::string SortKeyOf(const std::string& path);
void SortInputs(std::vector<std::string>& paths);

// True when both belong to one hour archive: the same name up to the sequence.
bool SameDayNames(const std::string& left, const std::string& right);

// Number of a sequel: 2 for "...#002.psa", 1 without "#".
unsigned SequelOf(const std::string& path);

std::string_view BaseNameOf(std::string_view path);

// Names that the archive of an input may have, without sequence and extension. The first is the
// one that a run gives it here: by the date of the header's stamp in local time, or by its date
// bytes. Then those that other runs or other time zones give, and that of the input's own name.
std::vector<std::string> ArchiveStems(const std::string& input, const PslHeader& header,
                                      std::span<const uint8_t> header_record, char level,
                                      bool by_date_bytes);

}  // namespace psltool
