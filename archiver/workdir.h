// The working directory of automatic runs, so that a core image of this process lands in a place
// where the server looks for it.
#pragma once

// Creates and enters the work directory below the root (platform/places.h) and moves a "core" found
// there aside. Returns false after reporting a failure.
bool EnterWorkDirectory();
