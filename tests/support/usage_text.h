// The usage text, spelled out.
#pragma once

inline constexpr char kUsage[] =
    "Usage: Qelprfarc [-v] [-o path] [-d] file [file...] \n"
    "       Qelprfarc [-v] -p path -hour time \n"
    "       Qelprfarc [-v] -p path -day time \n";
