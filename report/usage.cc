// The usage text: see the header.
#include "report/usage.h"

#include <cstdio>

#include "platform/process.h"

void Usage() {
  fputs(
      "Usage: Qelprfarc [-v] [-o path] [-d] file [file...] \n"
      "       Qelprfarc [-v] -p path -hour time \n"
      "       Qelprfarc [-v] -p path -day time \n",
      stderr);
  EndProcess(1);
}
