// Configuration segments: see the header.
#include "tools/running/segment_config.h"

#include <fmt/format.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr const char* kClassNames[] = {"logs", "hour archives", "day archives"};

template <typename T>
void Put(std::vector<char>& bytes, size_t offset, T value) {
  memcpy(bytes.data() + offset, &value, sizeof value);
}

void PutText(std::vector<char>& bytes, size_t offset, const std::string& text) {
  text.copy(bytes.data() + offset, text.size());
}

template <typename T>
bool Get(const std::vector<char>& bytes, size_t offset, T& value) {
  if (offset > bytes.size() || sizeof value > bytes.size() - offset) return false;
  memcpy(&value, bytes.data() + offset, sizeof value);
  return true;
}

bool GetText(const std::vector<char>& bytes, size_t offset, size_t room, std::string& text) {
  if (offset > bytes.size()) return false;
  room = std::min(room, bytes.size() - offset);
  const char* at = bytes.data() + offset;
  const size_t length = strnlen(at, room);
  if (length == room) return false;
  text.assign(at, length);
  return true;
}

bool DecodeFields(const std::vector<char>& bytes, SegmentConfig& config) {
  bool whole = GetText(bytes, kSegRootDirectory, kSegDirectoryRoom, config.root) &&
               GetText(bytes, kSegArchiveDirectory, kSegArchiveRoom, config.archive) &&
               GetText(bytes, kSegPmlDirectory, kSegDirectoryRoom, config.pml) &&
               Get(bytes, kSegArchivingEnabled, config.archiving) &&
               Get(bytes, kSegVolumeCapacity, config.capacity) &&
               Get(bytes, kSegCapacityOverride, config.capacity_override);
  for (size_t i = 0; i < config.keep.size(); ++i) {
    const size_t at = kSegRetention + i * kSegRetentionStep;
    whole = whole && Get(bytes, at, config.keep[i].count) &&
            Get(bytes, at + sizeof(uint16_t), config.keep[i].unit);
  }
  return whole;
}

}  // namespace

std::optional<Retention> ParseRetention(const std::string& text) {
  if (text == "none") return Retention{};
  if (text.size() < 2 || text.size() > 5) return std::nullopt;
  uint32_t count = 0;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') return std::nullopt;
    count = count * 10 + static_cast<uint32_t>(text[i] - '0');
  }
  const auto* unit = std::find_if(std::begin(kRetentionUnits), std::end(kRetentionUnits),
                                  [&text](const auto& row) { return row.letter == text.back(); });
  if (unit == std::end(kRetentionUnits) || count == 0) return std::nullopt;
  return Retention{static_cast<uint16_t>(count),
                   static_cast<uint16_t>(unit - std::begin(kRetentionUnits))};
}

bool ReadRetentions(const std::string& command,
                    const std::array<std::string, kSegRetentionClasses>& texts,
                    SegmentConfig& config) {
  for (size_t i = 0; i < texts.size(); ++i) {
    const auto keep = ParseRetention(texts[i]);
    if (!keep || !IsRetention(keep->count, keep->unit, i)) {
      return Fail(fmt::format("{} {}", command, kKeepOptions[i]),
                  fmt::format("'{}' is not none, {}1m to 24m, or 1y to 2y", texts[i],
                              i == 0 ? "1d to 366d, " : ""));
    }
    config.keep[i] = *keep;
  }
  return true;
}

std::string RetentionText(const Retention& keep) {
  if (keep.count == 0) return "none";
  if (keep.unit >= std::size(kRetentionUnits)) {
    return fmt::format("{} of unit {}", keep.count, keep.unit);
  }
  return fmt::format("{}{}", keep.count, kRetentionUnits[keep.unit].letter);
}

std::vector<char> EncodeSegment(const SegmentConfig& config) {
  std::vector<char> bytes(kSegSize);
  PutText(bytes, kSegRootDirectory, config.root);
  PutText(bytes, kSegArchiveDirectory, config.archive);
  PutText(bytes, kSegPmlDirectory, config.pml);
  Put(bytes, kSegArchivingEnabled, config.archiving);
  Put(bytes, kSegVolumeCapacity, config.capacity);
  Put(bytes, kSegCapacityOverride, config.capacity_override);
  for (size_t i = 0; i < config.keep.size(); ++i) {
    const size_t at = kSegRetention + i * kSegRetentionStep;
    Put(bytes, at, config.keep[i].count);
    Put(bytes, at + sizeof(uint16_t), config.keep[i].unit);
  }
  return bytes;
}

SegmentView DecodeSegment(const std::vector<char>& bytes) {
  SegmentView view;
  view.is_configuration = DecodeFields(bytes, view.config);
  if (!view.is_configuration) {
    view.faults.emplace_back("too small, or a directory's name does not end within its field");
    return view;
  }
  if (view.config.archiving > 1) {
    view.faults.push_back(
        fmt::format("the archiving switch is {}, not 0 or 1", view.config.archiving));
  }
  for (size_t i = 0; i < view.config.keep.size(); ++i) {
    if (IsRetention(view.config.keep[i].count, view.config.keep[i].unit, i)) continue;
    view.faults.push_back(
        fmt::format("{} cannot be kept {}", kClassNames[i], RetentionText(view.config.keep[i])));
  }
  return view;
}

int MakeSharedSegment(const std::vector<char>& bytes) {
  const int number = shmget(IPC_PRIVATE, bytes.size(), IPC_CREAT | IPC_EXCL | 0600);
  if (number == -1) return -1;
  void* address = shmat(number, nullptr, 0);
  if (address == reinterpret_cast<void*>(-1)) {
    const int error = errno;
    shmctl(number, IPC_RMID, nullptr);
    errno = error;
    return -1;
  }
  memcpy(address, bytes.data(), bytes.size());
  shmdt(address);
  return number;
}

bool ReadSharedSegment(int number, std::vector<char>& bytes) {
  shmid_ds status{};
  if (shmctl(number, IPC_STAT, &status) != 0) return false;
  const void* address = shmat(number, nullptr, SHM_RDONLY);
  if (address == reinterpret_cast<void*>(-1)) return false;
  const char* first = static_cast<const char*>(address);
  bytes.assign(first, first + status.shm_segsz);
  shmdt(address);
  return true;
}

bool FailSegment(int number, int error) {
  const std::string what = fmt::format("segment {}", number);
  // The system says "Invalid argument" of a number that no segment has.
  if (error != EINVAL && error != EIDRM) return Fail(what, strerror(error));
  return Fail(what, fmt::format("there is no segment {}; `ipcs -m` lists those of the system, "
                                "`psltool segment make` makes one",
                                number));
}

}  // namespace psltool
