// The history of one resource: its entries as `dump` gives them, as a table and as JSON.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/output/json.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

struct ShownRow {
  RecordPeriod period;
  std::vector<Value> values;  // of the columns of its file
};

struct ShownFile {
  std::string path;
  PslHeader header = {};
  std::string key;              // of the resource
  uint32_t groups = 0;          // counter groups of its kind
  std::vector<Column> columns;  // of the entry as a whole and of the group asked for
  std::vector<ShownRow> rows;
};

// Keeps the entries of one resource: of the key asked for, or of the first that comes.
class ShowWriter : public DumpWriter {
 public:
  ShowWriter(const std::string& path, std::string kind, uint32_t group);

  void Open(const PslHeader& header) override { file_.header = header; }
  void Start(const std::vector<const std::vector<Column>*>& all) override;
  void Put(const DumpedEntry& entry) override;
  bool failed() const override { return refused_; }

  // The group does not exist, or the key stands for several resources; reported.
  bool refused() const { return refused_; }
  const ShownFile& file() const { return file_; }
  // A key was given: all entries are of resources that it stands for.
  void AskForKey() { asked_ = true; }

 private:
  std::string kind_;
  uint32_t group_;
  ShownFile file_;
  bool asked_ = false;
  bool refused_ = false;
  const std::vector<Column>* columns_ = nullptr;
  std::vector<size_t> places_;  // of the file's columns among those of the entries
};

struct ShowView {
  std::string kind;
  uint32_t group;
  Zone zone;
  const Labels& labels;
};

void PrintShown(const ShowView& view, const ShownFile& file, TextOut& out);
Json ShownJson(const ShowView& view, const std::vector<ShownFile>& files);

}  // namespace psltool
