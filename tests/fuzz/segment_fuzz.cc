// A configuration segment, as the archiver and psltool read it: they take the same values, and one
// refuses what the other finds faults with.
#include <algorithm>

#include "archiver/segment.h"
#include "archiver/segment_layout.h"
#include "report/runinfo.h"
#include "tests/fuzz/target.h"
#include "tools/running/segment_config.h"

namespace fuzz {

namespace {

// A segment is ten thousand bytes, nearly all of them zeros: the input says what stands elsewhere.
// Size, then pieces: where, how many bytes, the bytes.
std::vector<char> SegmentOf(Taker& taker) {
  const uint32_t size = (uint32_t{taker.Byte()} << 8 | taker.Byte()) % 12000;
  std::vector<char> bytes(size);
  while (!taker.empty()) {
    const size_t at = size_t{taker.Byte()} << 8 | taker.Byte();
    const std::string piece = taker.Text(taker.Byte());
    if (at >= bytes.size()) continue;
    std::copy_n(piece.begin(), std::min(piece.size(), bytes.size() - at), bytes.data() + at);
  }
  return bytes;
}

std::string WithEnd(const std::string& path) {
  return path.empty() || (path.back() != '/' && path.back() != '\\') ? path + "/" : path;
}

std::string Differences(const psltool::SegmentConfig& config, const ArcDelInfo& read) {
  if (WithEnd(config.root) != read.rootdir) return "root directory";
  if (WithEnd(config.archive) != read.arcdir) return "archive directory";
  if (WithEnd(config.pml) != read.pmldir) return "PML directory";
  if (read.mode == kModeSvr && read.force_flg == 0 && config.archiving != read.arc_flg) {
    return "archiving switch";
  }
  for (size_t i = 0; i < config.keep.size(); ++i) {
    const psltool::Retention& keep = config.keep[i];
    const bool kept = keep.count != 0;
    if ((read.savetm_flg[i] != 0) != kept) return "retention";
    if (kept && read.savetm[i] != kRetentionUnits[keep.unit].code + keep.count) return "period";
  }
  return "";
}

}  // namespace

std::string Segment(Input input) {
  Taker taker(input);
  const uint8_t choice = taker.Byte();
  std::vector<char> bytes = SegmentOf(taker);
  bytes.shrink_to_fit();
  const psltool::SegmentView view = psltool::DecodeSegment(bytes);

  arcdelinfo = ArcDelInfo{};
  arcdelinfo.mode = kModeSvr;
  arcdelinfo.force_flg = choice & 1;
  arcdelinfo.emb_flg = (choice & 2) != 0 ? 1 : 0;
  shmptr = bytes.data();
  shmsize = bytes.size();
  const bool taken = !bytes.empty() && GetSvrSG() == 0;
  shmptr = nullptr;
  shmsize = 0;
  if (view.faults.empty() != taken && arcdelinfo.force_flg == 0 && arcdelinfo.emb_flg == 0) {
    return taken ? "the archiver takes what psltool finds faults with: " + view.faults.front()
                 : "the archiver refuses what psltool finds sound";
  }
  if (!taken || !view.faults.empty()) return "";
  const std::string different = Differences(view.config, arcdelinfo);
  if (!different.empty()) return "read otherwise: " + different;
  const psltool::SegmentView again = psltool::DecodeSegment(psltool::EncodeSegment(view.config));
  return again.is_configuration && again.config.root == view.config.root ? "" : "not kept";
}

}  // namespace fuzz
