// The three forms in which `psltool dump` puts entries: a table for people, CSV for spreadsheets,
// one JSON object per line for programs. Each writes an entry as soon as it gets it.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tools/output/json.h"
#include "tools/output/text_out.h"
#include "tools/reading/entry_fields.h"
#include "tools/reading/labels.h"
#include "tools/reading/record_period.h"
#include "tools/reading/time_text.h"

namespace psltool {

struct DumpedEntry {
  const RecordPeriod& period;  // of its record
  const char* kind;
  const std::vector<Column>& columns;
  const std::vector<Value>& values;
  const std::vector<double>& numbers;  // instead of values for writers that want only these
  // Of entries of sections: their form and the key bytes in use, as `EntryKey` packs them.
  const Form* form = nullptr;
  size_t key_count = 0;
  uint32_t key = 0;
};

// Times of a record as text, made once for all of its entries.
class PeriodCache {
 public:
  template <class Make>
  const std::string& Of(const RecordPeriod& period, Make make) {
    const std::array<uint32_t, 3> times = {period.stamp, period.begin, period.end};
    if (text_.empty() || times != times_) text_ = make(period);
    times_ = times;
    return text_;
  }

 private:
  std::array<uint32_t, 3> times_ = {};
  std::string text_;
};

class DumpWriter {
 public:
  DumpWriter() = default;
  virtual ~DumpWriter() = default;
  DumpWriter(const DumpWriter&) = delete;
  DumpWriter& operator=(const DumpWriter&) = delete;
  // The file's header, before anything else.
  virtual void Open(const PslHeader&) {}
  // Tells which columns can occur, before the first entry.
  virtual void Start(const std::vector<const std::vector<Column>*>& all) = 0;
  // Which of these columns the writer looks at; empty: all.
  virtual std::vector<bool> Wants(const std::vector<Column>&) const { return {}; }
  // For writers that look at a few numbers of very many entries: their places, as in ColumnChoice.
  // Empty: the writer takes values.
  virtual std::vector<uint8_t> WantsNumbers(const std::vector<Column>&) const { return {}; }
  // A statistics record of the time asked for, before its entries.
  virtual void StartRecord(const RecordPeriod&) {}
  virtual void Put(const DumpedEntry& entry) = 0;
  // No more entries come.
  virtual void Finish() {}
  // True: nothing more is taken.
  virtual bool failed() const { return false; }
};

// `wide`: all columns, however long the lines get.
std::unique_ptr<DumpWriter> MakeTableWriter(TextOut& out, Zone zone, FileLabels labels, bool wide);
std::unique_ptr<DumpWriter> MakeCsvWriter(TextOut& out, Zone zone, FileLabels labels);
std::unique_ptr<DumpWriter> MakeJsonLinesWriter(TextOut& out, Zone zone, FileLabels labels);

// A value in JSON; one that an entry does not say is null.
Json JsonOf(const Value& value);

// A cell of CSV, in quotes where it needs them.
std::string CsvText(const std::string& text);

}  // namespace psltool
