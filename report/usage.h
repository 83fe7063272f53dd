// The usage text. It stands apart from the run control because the time argument, too, is refused
// with it.
#pragma once

// Writes the usage text to standard error and ends the process with status 1.
[[noreturn]] void Usage();
