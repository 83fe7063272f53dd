// Everything outside that the pruning calls and that can fail, in one table. Tests put functions of
// their own in it, to make a call fail or to change a directory between the two passes.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "pmonb/pml_calls.h"

struct PmlWork;

struct PmlSystem {
  DIR* (*open_dir)(const char* path);
  dirent* (*read_dir)(DIR* directory);  // tells its end from an error by errno
  int (*close_dir)(DIR* directory);
  int (*status)(const char* path, struct stat* status);
  int (*make_dir)(const char* path, mode_t mode);
  int (*remove_file)(const char* path);  // must not follow links nor remove directories
  void* (*allocate)(size_t count, size_t size);
  time_t (*make_time)(tm* calendar);
  int (*rename_file)(const char* source, const char* target);  // must not replace anything
  int (*run_command)(const char* command);
  int (*move_file)(const char* source, const char* target, uint32_t* detail);
  int (*check_volume)(const char* path, PmlErrorBlock* block);
  int (*check_name)(const char* name);
  // Null, or called with the tables once the files that go are chosen, before anything is done.
  void (*chosen)(const PmlWork& work);
};

extern PmlSystem pml_system;
