// Walks the records of a file up to an offset, and the section headers of the record found.

#include "tests/model/record_locator.h"

#include "tests/model/kind_rules.h"
#include "tests/model/structure_record.h"

namespace model {
namespace {

struct NamedSlot {
  std::string name;
  std::size_t at = 0;
};

std::vector<NamedSlot> SlotsOfRecord(int revision, bool structure) {
  std::vector<NamedSlot> slots = {{structure ? "basic information" : "optional items", 16}};
  for (const KindRule& rule : KindRules(revision)) {
    if (structure && !rule.in_structure) continue;
    slots.push_back({rule.name, rule.slot});
  }
  if (structure && HasSlot128(revision)) slots.push_back({"slot-128 list", 128});
  if (structure && HasSlot144(revision)) slots.push_back({"slot-144 list", 144});
  return slots;
}

std::string PlaceInRecord(const Bytes& record, int revision, std::size_t offset) {
  const std::string tag(record.begin(), record.begin() + 3);
  if (tag != "CON" && tag != "STA") return "";
  const std::size_t head = RecordHeadSize(revision);
  if (record.size() < head) return ", in a record shorter than its head";
  std::string name;
  std::size_t start = 0;
  for (const NamedSlot& slot : SlotsOfRecord(revision, tag == "CON")) {
    if (offset >= slot.at && offset < slot.at + 8) return ", head slot of " + slot.name;
    const Descriptor section = ReadDescriptor(record, slot.at);
    if (section.count == 0 && slot.at != 16) continue;
    if (section.offset <= offset && section.offset >= start && section.offset != 0) {
      name = slot.name;
      start = section.offset;
    }
  }
  if (offset < head) return ", head";
  return ", byte " + std::to_string(offset - start) + " of section " + name;
}

}  // namespace

std::string DescribeOffset(const Bytes& file, std::size_t offset) {
  if (file.size() < 80) return "file without a whole header";
  const int revision = file[3];
  std::size_t at = 0;
  for (int number = 0; at + 12 <= file.size(); ++number) {
    const std::size_t length = Get32(file, at + 8);
    if (length < 12 || length > file.size() - at) break;
    if (offset < at + length) {
      const Bytes record = Slice(file, at, length);
      return "record " + std::to_string(number) + " (" +
             std::string(record.begin(), record.begin() + 3) + " at " + std::to_string(at) +
             ", length " + std::to_string(length) + "), offset " + std::to_string(offset - at) +
             " in it" + PlaceInRecord(record, revision, offset - at);
    }
    at += length;
  }
  return "behind the last whole record, which ends at " + std::to_string(at);
}

}  // namespace model
