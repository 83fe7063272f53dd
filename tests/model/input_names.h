// Names of inputs and outputs as the slow model reads them: array, day, order, sequels.
//
// Independent of engine/names.h: each function here is a second writing of one there, made from the
// rules; nothing of the product is included.
#pragma once

#include <stdexcept>
#include <string>

namespace model {

// Ends the run with status 1; the output in progress stays.
struct RunEnds : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The array of a base name, without its date. Ends the run when the name yields none.
std::string ArrayName(const std::string& name);

// What the names of the parts of a day have in common.
std::string DayPrefix(const std::string& name);

// The array as the order of the inputs sees it.
std::string SortedArray(const std::string& name);

// The next sequel of an output.
std::string SequelName(const std::string& name);

// What inputs are sorted by: array, date, number.
std::string SortKey(const std::string& name);

}  // namespace model
