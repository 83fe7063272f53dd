// Signal dispositions.
#pragma once

// Every run: a limit on the size of files becomes a write that fails, and so is reported.
void IgnoreSizeLimitSignal();

// Automatic runs: ignores the signals that could end a daemon's child by accident and catches
// SIGTERM. All others keep their default action.
void SetSignal();

// Handler of SIGTERM: removes the output being written or waiting for its name, releases the lock
// and ends the process with status 1. Uses async-signal-safe calls only.
extern "C" void Catch_sig(int number);
