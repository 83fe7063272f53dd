// The time zone of the process: the one that it started with, and UTC while a manual run reads
// files that are dated in it.
#pragma once

#include <ctime>

// Keeps the variable TZ as it is, and sets it to "UTC".
void SwitchToUtc();

// Puts the variable back as SwitchToUtc found it: its value, empty, or unset.
void SwitchBackFromUtc();

// Calendar time in the zone that the process started with, whichever is in force. Zero when the
// time cannot be broken down.
struct tm TimeInOwnZone(time_t time);
