// Why a move failed, for the trace.
#pragma once

#include <string>

// What kept the last call of move_chink_pml from moving its file.
const std::string& PmlMoveFailure();
