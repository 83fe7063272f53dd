// Definitions of the run's work areas.
#include "areas/finfo.h"

FileInfo finfo;
int32_t pmonarc_stat = 0;

char** TargetList = nullptr;
int32_t Ntarget = 0;
char** Flist = nullptr;
int32_t Nfile = 0;
char* FlistBuf = nullptr;

const char* rfname = nullptr;
int rfd = -1;
char* wfname = nullptr;
char wfpath[1024];
int wfd = -1;
uint8_t Rev_Kind = 0;

int32_t auto_break_flg = 0;
int32_t arcdel_errflg = 0;
int64_t lastrectime = 0;
