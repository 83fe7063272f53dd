// The automatic-run record: flags of the command line and what the server's configuration says.
#pragma once

#include <cstdint>

// Retention classes, the index of the arrays below.
inline constexpr int kClassPsl = 0;
inline constexpr int kClassHour = 1;
inline constexpr int kClassDay = 2;

// Values of ArcDelInfo::mode.
inline constexpr int32_t kModeNone = 0;
inline constexpr int32_t kModeSvr = 1;
inline constexpr int32_t kModeUser = 2;
inline constexpr int32_t kModeArrayUpdate = 3;

struct ArcDelInfo {
  int32_t savetm_flg[3];  // 1: the class has a retention period
  struct {
    int64_t limit;  // files dated before it are expired; 0 = none
    int64_t now;    // current time of the run
  } savetime[3];
  int32_t arc_flg;   // archiving is enabled
  int32_t auto_flg;  // "-auto"
  int32_t mode;
  int32_t shmid;
  char userfile[1024];
  char arcdir[272];   // ends in "/"
  int32_t savetm[3];  // encoded periods
  char rootdir[272];  // ends in "/"
  char pmldir[272];   // ends in "/"
  uint8_t auto2_flg;
  uint8_t emb_flg;
  uint8_t oldest_num;
  int32_t term_num;
  int32_t capacity;
  uint8_t daypsanoerr_flg;
  uint8_t out_flg;
  uint8_t noperiod_flg;
  uint8_t ext_flg;
  uint8_t force_flg;
};

extern ArcDelInfo arcdelinfo;
