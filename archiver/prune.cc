// Pruning of performance monitor logs: see the header.
#include "archiver/prune.h"

#include <cstring>

#include "pmonb/PMONBarc_del.h"
#include "pmonb/PMONBcomDeletePml.h"
#include "pmonb/pml_system.h"
#include "report/runinfo.h"
#include "report/trace.h"

namespace {

const PruneRehearsal* watch = nullptr;

constexpr int8_t kDeleteByAge = 3;
constexpr int8_t kDeleteOldest = 4;
constexpr int8_t kEmbeddedDelete = 8;
constexpr int8_t kEmbeddedMove = 9;

int Prune(PmlDelParam* param, int8_t mode, const char* task) {
  if (watch != nullptr) watch->begin(mode);
  const int result = PMONBcomDeletePml(param, mode);
  if (watch != nullptr) watch->end(mode, result, *param);
  if (result != 0) {
    TraceLine(__LINE__, "%s : retval=%d detail=0x%08x errno=%d", task, result, param->detail,
              param->err_no);
  }
  return result;
}

void PruneByNumbers(PmlDelParam* param) {
  if (arcdelinfo.term_num != 0) {
    param->term = static_cast<uint32_t>(arcdelinfo.term_num);
    Prune(param, kDeleteByAge, "DELETE_PML_TERM");
  }
  if (arcdelinfo.oldest_num != 0) {
    param->delete_count = arcdelinfo.oldest_num;
    Prune(param, kDeleteOldest, "DELETE_PML_OLDEST");
  }
}

void PruneEmbedded(PmlDelParam* param) {
  static_assert(sizeof param->trace_dir == sizeof arcdelinfo.rootdir);
  memcpy(param->trace_dir, arcdelinfo.rootdir, sizeof param->trace_dir);
  const SizeLimit limit = EmbeddedLimit(arcdelinfo.capacity);
  param->limit_hi = limit.high;
  param->limit_lo = limit.low;
  if (Prune(param, kEmbeddedDelete, "EMB_DELETE_PML") != 0) return;
  Prune(param, kEmbeddedMove, "EMB_MV_PML");
}

}  // namespace

void PrunePmlFiles() {
  PmlDelParam param{};
  param.emb_flg = arcdelinfo.emb_flg;
  static_assert(sizeof param.base_dir == sizeof arcdelinfo.pmldir);
  memcpy(param.base_dir, arcdelinfo.pmldir, sizeof param.base_dir);
  if (arcdelinfo.emb_flg == 1) {
    PruneEmbedded(&param);
  } else {
    PruneByNumbers(&param);
  }
  TraceLine(__LINE__, "$main():arc delete pml end");
}

void RehearsePruning(const PruneRehearsal& rehearsal) {
  const PmlSystem own_hands = pml_system;
  pml_system = rehearsal.hands;
  watch = &rehearsal;
  PrunePmlFiles();
  watch = nullptr;
  pml_system = own_hands;
}

SizeLimit EmbeddedLimit(int32_t capacity) {
  constexpr double kTwoTo32 = 4294967296.0;
  const int32_t reserve = capacity == 160 ? 20 : capacity == 200 ? 30 : 0;
  const double limit = (capacity - reserve) * 1048576.0;
  if (limit < kTwoTo32) return {0, static_cast<uint32_t>(limit)};
  const double high = static_cast<double>(static_cast<uint32_t>(limit / kTwoTo32));
  return {static_cast<uint32_t>(high), static_cast<uint32_t>(limit - high * kTwoTo32)};
}
