// Runs of the revision code: see the header.
#include "tests/support/revision_run.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "areas/finfo.h"
#include "engine/family.h"
#include "engine/layout/layout.h"
#include "engine/stream.h"
#include "report/runinfo.h"
#include "revisions/sets/lookup.h"
#include "tests/support/revision_facts.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

constexpr char kInputName[] = "20240101array.psl";

void ResetAll() {
  if (rfd >= 0) close(rfd);
  if (wfd >= 0) close(wfd);
  FreeResources();
  ForgetItemCounts();
  ResetRunState();
  pmonarc_stat = 2;
  lastrectime = 0;
  Rev_Kind = 0;
  usLdCursor = 0;
  usPdCursor = 0;
}

int CountOnes(uint32_t mask) {
  int n = 0;
  for (; mask != 0; mask >>= 1) n += static_cast<int>(mask & 1U);
  return n;
}

}  // namespace

RevisionRun::RevisionRun(int revision, char input_level, char output_level) {
  ResetAll();
  Rev_Kind = static_cast<uint8_t>(revision);
  finfo.revision = Rev_Kind;
  finfo.layout = &LayoutOf(Rev_Kind);
  finfo.input_level = input_level;
  finfo.level = output_level;
  finfo.continuation_switch = 1;
  finfo.no_statistics = true;
  for (const KindFacts& facts : KindsOf(revision)) {
    finfo.items[facts.kind].out_mask = facts.mask;
    finfo.items[facts.kind].out_count = static_cast<uint32_t>(CountOnes(facts.mask));
  }
  rfname = kInputName;
  rfd = memfd_create("input", MFD_CLOEXEC);
  std::snprintf(wfpath, sizeof wfpath, "%s", directory_.Path("output").c_str());
  wfd = open(wfpath, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (rfd < 0 || wfd < 0) throw std::runtime_error("files of the run");
  StartInput(0);
}

RevisionRun::~RevisionRun() { ResetAll(); }

void RevisionRun::Automatic() {
  arcdelinfo.auto_flg = 1;
  arcdelinfo.emb_flg = 1;
}

void RevisionRun::InputMask(Kind kind, uint32_t mask) {
  finfo.items[kind].in_mask = mask;
  finfo.items[kind].in_count = static_cast<uint32_t>(CountOnes(mask));
}

void RevisionRun::Append(const Bytes& record) {
  const off_t at = finfo.input_size;
  if (pwrite(rfd, record.data(), record.size(), at) != static_cast<ssize_t>(record.size())) {
    throw std::runtime_error("input of the run");
  }
  finfo.input_size += static_cast<int64_t>(record.size());
}

void RevisionRun::ReadOn() {
  auto_break_flg = 0;
  while (finfo.position < finfo.input_size && auto_break_flg == 0) {
    const int64_t before = finfo.position;
    ReadNextRec();
    if (auto_break_flg == 0 && (finfo.position <= before || finfo.position > finfo.input_size ||
                                finfo.position != finfo.record_start + finfo.record_length)) {
      throw std::runtime_error("the reader did not leave the input behind a record");
    }
  }
}

void RevisionRun::Feed(const Bytes& record) {
  finfo.position = finfo.input_size;
  Append(record);
  ReadOn();
}

void RevisionRun::Flush() {
  if (!finfo.no_statistics) DispatchOf(finfo.revision).flush_at_end();
  pmonarc_stat = 8;
}

std::vector<Bytes> RevisionRun::Output() {
  const std::string all = TempDir::ReadFile(wfpath);
  std::vector<Bytes> records;
  while (taken_ < all.size()) {
    const Bytes rest(
        std::vector<uint8_t>(all.begin() + static_cast<std::ptrdiff_t>(taken_), all.end()));
    const size_t length = rest.Get32(8);
    if (length < 12 || length > rest.size()) throw std::runtime_error("output record's length");
    records.push_back(rest.Part(0, length));
    taken_ += length;
  }
  return records;
}

Bytes RevisionRun::Period() {
  Flush();
  std::vector<Bytes> periods;
  for (const Bytes& record : Output()) {
    if (record.Tag() == "STA") periods.push_back(record);
  }
  if (periods.size() != 1) {
    throw std::runtime_error("periods written: " + std::to_string(periods.size()));
  }
  return periods.front();
}

bool RevisionRun::Breaks(const Bytes& record) {
  Capture errors(2);
  const int status = StatusOf([&] { Feed(record); });
  const bool told =
      errors.Text() == std::string("Qelprfarc: 112 Record broken -- ") + kInputName + "\n";
  if (arcdelinfo.auto_flg != 0) {
    const bool abandoned = status == kReturned && auto_break_flg == 1;
    return told && abandoned && OutputExists();
  }
  return told && status == 1 && !OutputExists();
}

void RevisionRun::NextInput(bool next_day) {
  Flush();
  finfo.no_statistics = true;
  if (next_day) pmonarc_stat |= 1;
}

Bytes SectionOf(const Bytes& record, int revision, Kind kind, size_t size) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const auto slot = static_cast<size_t>(FindKind(kinds, kind)->slot);
  return record.Part(record.Get32(slot + 4), size);
}

std::vector<Bytes> ItemsOf(const Bytes& record) {
  std::vector<Bytes> items;
  size_t at = record.Get32(20);
  for (uint32_t i = 0; i < record.Get16(18); ++i) {
    items.push_back(record.Part(at, record.Get32(at + 8)));
    at += record.Get32(at + 8);
  }
  return items;
}

}  // namespace revtest
