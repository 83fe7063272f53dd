// Signal dispositions of automatic runs.
#pragma once

// Ignores the signals that could end a daemon's child by accident and catches SIGTERM. All others
// keep their default action.
void SetSignal();

// Handler of SIGTERM: removes the output being written, releases the lock and ends the process with
// status 1. Uses async-signal-safe calls only.
extern "C" void Catch_sig(int number);
