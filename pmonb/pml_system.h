// Everything outside that the pruning calls and that can fail, in one table. Tests put functions of
// their own in it, to make a call fail or to change a directory between the two passes.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "pmonb/PMONBcomDeletePml.h"

struct PmlSystem {
  DIR* (*open_dir)(const char* path);
  int (*close_dir)(DIR* directory);
  int (*status)(const char* path, struct stat* status);
  int (*make_dir)(const char* path, mode_t mode);
  int (*remove_file)(const char* path);  // must not follow links nor remove directories
  void* (*allocate)(size_t count, size_t size);
  time_t (*make_time)(tm* calendar);
  int (*run_command)(const char* command);
  int (*move_file)(const char* source, const char* target, uint32_t* detail);
  int (*check_volume)(const char* path, PmlErrorBlock* block);
  int (*check_name)(const char* name);
};

extern PmlSystem pml_system;
