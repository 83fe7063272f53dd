// The days and months that a run leaves without the archive that it set out to make: inputs that
// were abandoned, passed over or refused, outputs that could not be finished. Removal leaves their
// inputs, whatever their age, so that the next run can try again.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

class UnarchivedPeriods {
 public:
  // Notes the day (level 'H') or the month (level 'D') of the array that a log's or hour archive's
  // name tells. A name that tells none stands for itself.
  void Note(const char* name, char level);

  // True when the day or the month of this log or archive was noted, or the name itself.
  bool Hold(const char* name) const;

  // Inputs whose day or month waits for a file that could not be looked at.
  void HoldUp(const std::string& input) { held_up_.push_back(input); }
  const std::vector<std::string>& held_up() const { return held_up_; }

 private:
  std::set<std::pair<std::string, std::string>> periods_;  // array, date digits
  std::set<std::string> single_names_;
  std::vector<std::string> held_up_;
};

// Of the run in progress: it begins without any, and they outlive its runs over both levels.
extern UnarchivedPeriods unarchived;
