// Entry of the program Qelprfarc.
#include "archiver/Qelprfarc.h"

int main(int argc, char** argv) { return RunArchiver(argc, argv); }
