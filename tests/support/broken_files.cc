// The damaged files: see the header. Offsets stand here as numbers.
#include "tests/support/broken_files.h"

#include "tests/support/record_builder.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"

namespace {

using spell::Bytes;
using spell::GetU32;
using spell::SetU16;
using spell::SetU32;
using spell::SetU8;

constexpr uint8_t kRevision = 0x1E;
constexpr uint32_t kMinute = 60;

// Slots of the 256-byte heads.
constexpr size_t kItems = 16;
constexpr size_t kHdAt = 24;
constexpr size_t kHpAt = 48;
constexpr size_t kLdAt = 88;
constexpr size_t kPdAt = 96;
constexpr size_t kPoolAt = 120;

uint32_t Time(uint32_t minutes) { return spell::kNewYear + minutes * kMinute; }

Bytes Structure(uint32_t minutes, bool all_kinds = true) {
  return spell::Structure(kRevision, {.time = Time(minutes), .all_kinds = all_kinds});
}

Bytes Statistics(uint32_t minutes, bool all_kinds = true) {
  return spell::Statistics(kRevision, {.time = Time(minutes), .all_kinds = all_kinds});
}

size_t OffsetOf(const Bytes& record, size_t slot) { return GetU32(record, slot + 4); }

Bytes WithLength(Bytes record) {
  SetU32(record, 8, static_cast<uint32_t>(record.size()));
  return record;
}

// The damaged record and the place in it that is at fault.
struct Damage {
  Bytes record;
  size_t at;
};

class Maker {
 public:
  // Two sound intervals, the damage, a third interval, a new structure record and a fourth.
  void Add(const char* name, const char* code, const Damage& damage, bool all_kinds = true) {
    const bool structure = damage.record.substr(0, 3) == "CON";
    BrokenFile file;
    file.name = name;
    file.code = code;
    file.sound = Start(all_kinds);
    file.offset = file.sound.size() + damage.at;
    file.bytes = file.sound + damage.record + Statistics(3, all_kinds) + Structure(4, all_kinds) +
                 Statistics(5, all_kinds);
    file.kept = "CON STA STA";
    // What follows a structure record that is lost cannot be told.
    file.kept_with_resync = structure ? "CON STA STA CON STA" : "CON STA STA STA CON STA";
    files_.push_back(file);
  }

  // The damage is the last thing in the file.
  void AddAtEnd(const char* name, const char* code, const Damage& damage) {
    BrokenFile file;
    file.name = name;
    file.code = code;
    file.sound = Start(true);
    file.offset = file.sound.size() + damage.at;
    file.bytes = file.sound + damage.record;
    file.kept = file.kept_with_resync = "CON STA STA";
    files_.push_back(file);
  }

  // The damage comes first.
  void AddAtStart(const char* name, const char* code, const Damage& damage) {
    BrokenFile file;
    file.name = name;
    file.code = code;
    file.sound = spell::HeaderRecord({.revision = kRevision});
    file.offset = file.sound.size() + damage.at;
    file.bytes = file.sound + damage.record + Structure(4) + Statistics(5);
    file.kept_with_resync = "CON STA";
    files_.push_back(file);
  }

  std::vector<BrokenFile> files_;

 private:
  static Bytes Start(bool all_kinds) {
    return spell::HeaderRecord({.revision = kRevision}) + Structure(0, all_kinds) +
           Statistics(0, all_kinds) + Statistics(1, all_kinds);
  }
};

// A statistics record in which `change` alters something; `at` as `change` returns it.
template <class Change>
Damage InStatistics(Change change, bool all_kinds = true) {
  Bytes record = Statistics(2, all_kinds);
  const size_t at = change(record);
  return {record, at};
}

template <class Change>
Damage InStructure(Change change) {
  Bytes record = Structure(2);
  const size_t at = change(record);
  return {record, at};
}

void AddFraming(Maker& maker) {
  maker.Add("LengthBelow12", "record-length", InStatistics([](Bytes& b) {
              SetU32(b, 8, 11);
              return size_t{8};
            }));
  maker.Add("LengthPastTheEnd", "record-length", InStatistics([](Bytes& b) {
              SetU32(b, 8, 0x7FFFFFFF);
              return size_t{8};
            }));
  maker.Add("StrayTag", "record-tag", InStatistics([](Bytes& b) {
              b.replace(0, 3, "STR");
              return size_t{0};
            }));
  maker.Add("SecondFileHeader", "record-tag", {spell::HeaderRecord({.revision = kRevision}), 0});
  maker.Add("ShortNnc", "record-short", {spell::FixedRecord("NNC", 79, Time(2)), 8});
  maker.Add("ShortLdm", "record-short", {spell::FixedRecord("LDM", 63, Time(2)), 8});
  maker.Add("ShortStatistics", "statistics-head", {WithLength(Statistics(2).substr(0, 255)), 8});
  maker.Add("ShortStructure", "structure-head", {WithLength(Structure(2).substr(0, 255)), 8});
  maker.AddAtEnd("TornRecordHeader", "tail", {Statistics(2).substr(0, 11), 0});
  maker.AddAtEnd("TornRecord", "record-length",
                 {Statistics(2).substr(0, Statistics(2).size() - 1), 8});
}

void AddStructures(Maker& maker) {
  maker.Add("BasicInformationLeavesRecord", "basic-bounds", InStructure([](Bytes& b) {
              SetU32(b, 20, static_cast<uint32_t>(b.size() - 111));
              return size_t{20};
            }));
  maker.Add("ListWithoutOffset", "list-offset", InStructure([](Bytes& b) {
              SetU32(b, kPdAt + 4, 0);
              return kPdAt + 4;
            }));
  maker.Add("ListLeavesRecord", "list-bounds", InStructure([](Bytes& b) {
              SetU32(b, kPdAt + 4, static_cast<uint32_t>(b.size() - 47));
              return kPdAt + 4;
            }));
  maker.Add("VariableEntryBelowItsFixedPart", "variable-length", InStructure([](Bytes& b) {
              SetU32(b, OffsetOf(b, kLdAt) + 52, 63);
              return OffsetOf(b, kLdAt) + 52;
            }));
  maker.Add("VariablePartLeavesRecord", "variable-bounds", InStructure([](Bytes& b) {
              SetU32(b, OffsetOf(b, kLdAt) + 52, 0xFFFFFFFF);
              return OffsetOf(b, kLdAt) + 52;
            }));
  maker.Add("PoolEntriesWithoutAKey", "list-entry", InStructure([](Bytes& b) {
              SetU8(b, OffsetOf(b, 16) + 95, 1);  // pools are carried
              SetU16(b, kPoolAt, 1);              // bytes of an entry
              SetU16(b, kPoolAt + 2, 1);
              SetU32(b, kPoolAt + 4, 400);
              return kPoolAt;
            }));
  maker.Add("TrailingSectionBehindRecord", "trailing-bounds", InStructure([](Bytes& b) {
              SetU32(b, 248, static_cast<uint32_t>(b.size() + 1));
              return size_t{248};
            }));
}

void AddSections(Maker& maker) {
  maker.AddAtStart("StatisticsBeforeStructure", "no-structure", {Statistics(2), kHdAt + 2});
  maker.Add("SectionCountDiffers", "section-count", InStatistics([](Bytes& b) {
              SetU16(b, kLdAt + 2, 2);
              return kLdAt + 2;
            }));
  maker.Add("SectionBehindRecord", "section-bounds", InStatistics([](Bytes& b) {
              SetU32(b, kLdAt + 4, static_cast<uint32_t>(b.size() + 1));
              return kLdAt + 4;
            }));
  maker.Add("EntryLeavesRecord", "section-bounds", InStatistics([](Bytes& b) {
              const size_t at = b.size() - 95;
              SetU32(b, kLdAt + 4, static_cast<uint32_t>(at));
              SetU8(b, at + 10, 0);  // not compact
              return at;
            }));
  maker.Add("UnknownKey", "key-unknown", InStatistics([](Bytes& b) {
              SetU8(b, OffsetOf(b, kHdAt) + 8, 77);
              return OffsetOf(b, kHdAt) + 8;
            }));
  maker.Add("KeyOfAnotherPosition", "key-unknown", InStatistics([](Bytes& b) {
              SetU8(b, OffsetOf(b, kHpAt) + 9, 77);
              return OffsetOf(b, kHpAt) + 8;
            }));
}

// An optional item of concurrent copies.
Bytes CopyItem(size_t elements) {
  const revtest::Bytes element(std::vector<uint8_t>(16, 1));
  return spell::TextOf(revtest::Item({.type = 16,
                                      .flag = 0x80,
                                      .interval = 60000,
                                      .elements = std::vector<revtest::Bytes>(elements, element)}));
}

void AddItems(Maker& maker) {
  maker.Add("ItemBelowItsHead", "item-length", InStatistics([](Bytes& b) {
              SetU32(b, OffsetOf(b, kItems) + 8, 23);
              return OffsetOf(b, kItems) + 8;
            }));
  maker.Add("ItemLeavesRecord", "item-bounds", InStatistics([](Bytes& b) {
              SetU32(b, OffsetOf(b, kItems) + 8, 0xFFFFFFFF);
              return OffsetOf(b, kItems) + 8;
            }));
  maker.Add("ItemHeadLeavesRecord", "item-bounds", InStatistics([](Bytes& b) {
              SetU32(b, kItems + 4, static_cast<uint32_t>(b.size() - 23));
              return kItems + 4;
            }));
  maker.Add("ElementsLeaveItem", "item-elements", InStatistics([](Bytes& b) {
              SetU32(b, OffsetOf(b, kItems) + 20, 25);
              return OffsetOf(b, kItems) + 20;
            }));
  maker.Add("ElementsInItemHead", "item-elements", InStatistics([](Bytes& b) {
              SetU32(b, OffsetOf(b, kItems) + 20, 23);
              return OffsetOf(b, kItems) + 20;
            }));
  const auto add_item = [](Bytes& b, Bytes item) {
    const size_t at = b.size();
    b += item;
    SetU16(b, kItems + 2, 1);
    SetU32(b, kItems + 4, static_cast<uint32_t>(at));
    b = WithLength(b);
    return at;
  };
  maker.Add("MoreElementsThanConfigured", "item-count",
            InStatistics([&](Bytes& b) { return add_item(b, CopyItem(2)) + 18; }));
  maker.Add("ItemOfAKindThatIsNotConfigured", "item-unconfigured",
            InStatistics([&](Bytes& b) { return add_item(b, CopyItem(1)) + 12; }, false), false);
}

}  // namespace

std::vector<BrokenFile> BrokenFiles() {
  Maker maker;
  AddFraming(maker);
  AddStructures(maker);
  AddSections(maker);
  AddItems(maker);
  return maker.files_;
}
