// The configuration segment. The daemon's data is checked like a file: nothing is read beyond the
// segment's size, and a text must end within its field.
#include "archiver/segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "archiver/segment_layout.h"
#include "report/messages.h"
#include "report/runinfo.h"

void* shmptr = nullptr;
size_t shmsize = 0;

namespace {

constexpr uint32_t kDetShmat = 0x03010004;
constexpr uint32_t kDetShmdt = 0x03010005;
constexpr uint32_t kDetShmdtAtEnd = 0x03010006;
constexpr uint32_t kDetConfiguration = 0x0301000A;
constexpr uint32_t kDetUserMode = 0x0301000B;

template <typename T>
bool ReadField(size_t offset, T* value) {
  if (offset > shmsize || sizeof(T) > shmsize - offset) return false;
  memcpy(value, static_cast<const char*>(shmptr) + offset, sizeof(T));
  return true;
}

// Copies a directory name of less than `room` characters and ends it with a separator.
template <size_t kRoom, size_t N>
bool ReadDirectory(size_t offset, char (&field)[N]) {
  static_assert(kRoom < N);
  if (offset > shmsize) return false;
  const size_t room = std::min(kRoom, shmsize - offset);
  const char* text = static_cast<const char*>(shmptr) + offset;
  const size_t length = strnlen(text, room);
  if (length == room) return false;
  memset(field, 0, N);
  memcpy(field, text, length);
  if (length == 0 || (text[length - 1] != '/' && text[length - 1] != '\\')) field[length] = '/';
  return true;
}

bool ReadArchivingSwitch() {
  if (arcdelinfo.mode == kModeArrayUpdate || arcdelinfo.force_flg != 0) {
    arcdelinfo.arc_flg = 1;
    return true;
  }
  uint8_t enabled = 0;
  if (!ReadField(kSegArchivingEnabled, &enabled) || enabled > 1) return false;
  arcdelinfo.arc_flg = enabled;
  return true;
}

bool ReadRetention(int retention_class) {
  const size_t index = static_cast<size_t>(retention_class);
  uint16_t pair[2] = {};
  if (!ReadField(kSegRetention + index * kSegRetentionStep, &pair)) return false;
  const auto [count, unit] = pair;
  if (!IsRetention(count, unit, index)) return false;
  if (count == 0) return true;
  arcdelinfo.savetm[index] = RetentionCode(count, unit);
  arcdelinfo.savetm_flg[index] = 1;
  return true;
}

// The volume's capacity for embedded pruning; the smallest volumes keep a reserve of their own.
bool ReadCapacity() {
  int32_t configured = 0;
  int32_t override_value = 0;
  // Not reached: the PML directory lies behind both and has been read.
  if (!ReadField(kSegVolumeCapacity, &configured)) return false;
  // Not reached: the directory lies behind it, too.
  if (!ReadField(kSegCapacityOverride, &override_value)) return false;
  if (override_value >= 1) {
    arcdelinfo.capacity = override_value;
  } else if (configured >= 1) {
    arcdelinfo.capacity = configured;
  } else {
    return false;
  }
  const int32_t reserve = configured == 160 ? 20 : configured == 200 ? 30 : 0;
  return arcdelinfo.capacity >= reserve;
}

bool Attached() { return shmptr != nullptr && shmptr != reinterpret_cast<void*>(-1); }

bool RefuseConfiguration(uint32_t detail) {
  LogMessage(115, nullptr, nullptr, 0, detail);
  LogTaskFailed();
  return false;
}

bool SystemCallFailed(const char* call, uint32_t detail) {
  LogMessage(113, nullptr, call, errno, detail);
  LogTaskFailed();
  return false;
}

}  // namespace

int GetSvrSG() {
  if (!ReadDirectory<kSegArchiveRoom>(kSegArchiveDirectory, arcdelinfo.arcdir)) return -1;
  if (!ReadDirectory<kSegDirectoryRoom>(kSegRootDirectory, arcdelinfo.rootdir)) return -1;
  if (!ReadArchivingSwitch()) return -1;
  if (arcdelinfo.mode != kModeArrayUpdate) {
    for (const int retention_class : {kClassPsl, kClassHour, kClassDay}) {
      if (!ReadRetention(retention_class)) return -1;
    }
  }
  if (!ReadDirectory<kSegDirectoryRoom>(kSegPmlDirectory, arcdelinfo.pmldir)) return -1;
  if (arcdelinfo.emb_flg == 1 && !ReadCapacity()) return -1;
  return 0;
}

int GetUserSG() { return -1; }

SegmentVerdict ReadSegment(int number) {
  shmptr = shmat(number, nullptr, 0);
  if (!Attached()) return SegmentVerdict::kNotAttached;
  shmid_ds status{};
  // Not reached: who may attach may ask for the size.
  shmsize = shmctl(number, IPC_STAT, &status) == 0 ? status.shm_segsz : 0;
  if (GetSvrSG() != 0) return SegmentVerdict::kRefused;
  // Not reached: what was attached just now can be detached.
  if (shmdt(shmptr) != 0) return SegmentVerdict::kNotDetached;
  shmptr = nullptr;
  return SegmentVerdict::kRead;
}

SegmentVerdict ReadSegmentBytes(const std::vector<char>& bytes) {
  shmptr = const_cast<char*>(bytes.data());  // only read
  shmsize = bytes.size();
  const bool valid = GetSvrSG() == 0;
  shmptr = nullptr;
  shmsize = 0;
  return valid ? SegmentVerdict::kRead : SegmentVerdict::kRefused;
}

bool ReadConfiguration() {
  // Not reached: no configuration of a user's own can be read (GetUserSG).
  if (arcdelinfo.mode == kModeUser && GetUserSG() != 0) return RefuseConfiguration(kDetUserMode);
  switch (ReadSegment(arcdelinfo.shmid)) {
    case SegmentVerdict::kRead:
      break;
    case SegmentVerdict::kNotAttached:
      return SystemCallFailed("shmat", kDetShmat);
    // Not reached: what is attached can be detached.
    case SegmentVerdict::kNotDetached:
      return SystemCallFailed("shmdt", kDetShmdt);
    case SegmentVerdict::kRefused:
      return RefuseConfiguration(kDetConfiguration);
  }
  return true;
}

void DetachSegment() {
  if (!Attached()) return;
  if (shmdt(shmptr) != 0) SystemCallFailed("shmdt", kDetShmdtAtEnd);
  shmptr = nullptr;
}
