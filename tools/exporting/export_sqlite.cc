// Rows of an export as a SQLite database: files, series and samples, and a view that joins them.
// Each file is one transaction, so that a database holds files as a whole or not at all.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <unordered_map>

#include "tools/exporting/export_sink.h"
#include "tools/exporting/sample_sort.h"
#include "tools/exporting/sqlite_database.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"
#include "tools/output/unfinished.h"

namespace psltool {

namespace {

constexpr int kApplication = 0x50534C31;  // "PSL1"; tells our databases from others
constexpr int kSchemaVersion = 2;

constexpr const char* kSchema = R"(
CREATE TABLE files (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE,
  path TEXT NOT NULL,
  array TEXT NOT NULL,
  level TEXT NOT NULL,
  revision INTEGER NOT NULL,
  complete INTEGER NOT NULL,
  trouble TEXT,
  first_sample INTEGER,
  last_sample INTEGER
);
CREATE TABLE series (
  id INTEGER PRIMARY KEY,
  array TEXT NOT NULL,
  level TEXT NOT NULL,
  kind TEXT NOT NULL,
  key TEXT NOT NULL,
  metric TEXT NOT NULL,
  statistic TEXT NOT NULL,
  unit TEXT NOT NULL,
  name TEXT,
  group_name TEXT,
  UNIQUE (array, level, kind, key, metric, statistic)
);
CREATE TABLE samples (
  id INTEGER PRIMARY KEY,
  file INTEGER NOT NULL REFERENCES files (id),
  series INTEGER NOT NULL REFERENCES series (id),
  stamp INTEGER NOT NULL,
  value REAL NOT NULL
);
CREATE TABLE periods (
  file INTEGER NOT NULL REFERENCES files (id),
  stamp INTEGER NOT NULL,
  begin INTEGER NOT NULL,
  end INTEGER NOT NULL,
  PRIMARY KEY (file, stamp)
) WITHOUT ROWID;
CREATE INDEX series_by_metric ON series (metric, statistic);
CREATE VIEW tidy AS
  SELECT strftime('%Y-%m-%dT%H:%M:%SZ', samples.stamp, 'unixepoch') AS time, series.array,
         series.kind, series.key, series.metric, series.statistic, samples.value, series.unit,
         series.level, samples.stamp, files.name AS file,
         strftime('%Y-%m-%dT%H:%M:%SZ', periods.begin, 'unixepoch') AS begin,
         strftime('%Y-%m-%dT%H:%M:%SZ', periods.end, 'unixepoch') AS end,
         series.name, series.group_name
  FROM samples JOIN series ON series.id = samples.series JOIN files ON files.id = samples.file
       JOIN periods ON periods.file = samples.file AND periods.stamp = samples.stamp;
)";

// Made when a new database is filled, which is faster than keeping the order of many files.
constexpr const char* kSampleIndex =
    "CREATE INDEX IF NOT EXISTS samples_by_series ON samples (series, stamp)";

// The samples of a file are numbered without gaps, since each file is one transaction; so they are
// found without an index of their own.
constexpr const char* kRemoveSamples =
    "DELETE FROM samples WHERE id BETWEEN (SELECT first_sample FROM files WHERE id = ?1) "
    "AND (SELECT last_sample FROM files WHERE id = ?1)";
constexpr const char* kRemovePeriods = "DELETE FROM periods WHERE file = ?1";
// Two records of one stamp, a period cut in two at one second, have one row.
constexpr const char* kPutPeriod =
    "INSERT INTO periods (file, stamp, begin, end) VALUES (?1, ?2, ?3, ?4) "
    "ON CONFLICT (file, stamp) DO UPDATE SET begin = min(begin, ?3), end = max(end, ?4)";
constexpr const char* kEndFile =
    "UPDATE files SET complete = ?1, trouble = ?2, first_sample = ?4, "
    "last_sample = (SELECT max(id) FROM samples) WHERE id = ?3";
constexpr const char* kNextSample = "SELECT coalesce(max(id), 0) + 1 FROM samples";

// Pages of an index are touched all over: these are to stay in memory, whatever the file's size.
constexpr const char* kCache = "PRAGMA cache_size = -32768";  // KiB
// Nobody reads a new database before it has its name, and it is synced before it gets it.
constexpr const char* kUnsynced = "PRAGMA synchronous = OFF";

// Prepared once for all files.
struct Statements {
  Statement put_file;
  Statement end_file;
  Statement remove_samples;
  Statement remove_periods;
  Statement put_period;
  Statement next_sample;
  Statement put_series;
  Statement put_sample;

  bool Prepare(const Database& database) {
    return put_file.Prepare(
               database,
               "INSERT INTO files (name, path, array, level, revision, complete) "
               "VALUES (?1, ?2, ?3, ?4, ?5, 0) "
               "ON CONFLICT (name) DO UPDATE SET path = ?2, array = ?3, level = ?4, revision = ?5 "
               "RETURNING id") &&
           end_file.Prepare(database, kEndFile) && next_sample.Prepare(database, kNextSample) &&
           remove_samples.Prepare(database, kRemoveSamples) &&
           remove_periods.Prepare(database, kRemovePeriods) &&
           put_period.Prepare(database, kPutPeriod) &&
           put_series.Prepare(
               database,
               "INSERT INTO series (array, level, kind, key, metric, statistic, unit, name, "
               "group_name) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9) "
               "ON CONFLICT (array, level, kind, key, metric, statistic) DO UPDATE SET unit = ?7, "
               // A run without names leaves those that are there.
               "name = coalesce(?8, name), group_name = coalesce(?9, group_name) RETURNING id") &&
           put_sample.Prepare(database,
                              "INSERT INTO samples (file, series, stamp, value) "
                              "VALUES (?1, ?2, ?3, ?4)");
  }
};

bool SyncFile(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool synced = fd != -1 && fsync(fd) == 0;
  if (fd != -1) close(fd);
  return synced || Fail(path, "cannot be synced");
}

class SqliteSink : public ExportSink {
 public:
  SqliteSink(std::string path, const Labels& labels) : path_(std::move(path)), labels_(labels) {}
  ~SqliteSink() override {
    // An open transaction is rolled back.
    statements_.reset();
    database_.Abandon();
    if (part_.empty()) return;
    RemovePart();
    ForgetUnfinished(part_);
    ForgetUnfinished(JournalOf(part_));
  }
  SqliteSink(const SqliteSink&) = delete;
  SqliteSink& operator=(const SqliteSink&) = delete;

  bool Open() {
    std::error_code error;
    const std::filesystem::file_type type = std::filesystem::status(path_, error).type();
    // A database that cannot be looked at would be replaced by a new one.
    if (type == std::filesystem::file_type::none) return Fail(path_, error.message());
    fresh_ = type == std::filesystem::file_type::not_found;
    if (!fresh_ && type != std::filesystem::file_type::regular) {
      return Fail(path_, "is no regular file");
    }
    if (fresh_ && !CreateNew()) return false;
    return database_.Open(fresh_ ? part_ : path_, path_) && database_.Run(kCache) &&
           (!fresh_ || database_.Run(kUnsynced)) && database_.Run("BEGIN IMMEDIATE") &&
           CheckSchema() && database_.Run("COMMIT") && statements_->Prepare(database_);
  }

  bool StartFile(const ExportFile& file) override {
    if (!database_.Run("BEGIN IMMEDIATE")) return false;
    array_ = file.array;
    level_ = file.level;
    Statement& put = statements_->put_file;
    put.Bind(1, file.name);
    put.Bind(2, file.path);
    put.Bind(3, file.array);
    put.Bind(4, file.level);
    put.Bind(5, int64_t{file.header.revision});
    if (!put.Run(&file_)) return false;
    statements_->remove_samples.Bind(1, file_);
    statements_->remove_periods.Bind(1, file_);
    period_.reset();
    sort_ = std::make_unique<SampleSort>(DirectoryOf(path_), SampleSort::Equal::kAll);
    return statements_->remove_samples.Run() && statements_->remove_periods.Run() &&
           statements_->next_sample.Run(&first_sample_);
  }

  bool Put(const ExportRow& row) override {
    int64_t series = 0;
    if (!FindSeries(row, series) || !PutPeriod(row.period)) return false;
    return sort_->Add({static_cast<uint64_t>(series), row.stamp, NumberOr(row.value, 0)});
  }

  bool EndFile(ExportFileEnd end, const std::string& trouble) override {
    if (end == ExportFileEnd::kUnreadable) {
      // Series of this file are rolled back with it.
      series_.clear();
      return database_.Run("ROLLBACK");
    }
    if (!PutSamples()) return false;
    Statement& put = statements_->end_file;
    put.Bind(1, int64_t{end == ExportFileEnd::kWhole ? 1 : 0});
    if (end == ExportFileEnd::kWhole) {
      put.BindNull(2);
    } else {
      put.Bind(2, trouble);
    }
    put.Bind(3, file_);
    put.Bind(4, first_sample_);
    return put.Run() && database_.Run("COMMIT");
  }

  bool Finish() override {
    if (!fresh_) return true;
    statements_.reset();
    if (!database_.Run(kSampleIndex) || !database_.Close() || !SyncFile(part_)) return false;
    if (std::rename(part_.c_str(), path_.c_str()) == -1) {
      return Fail(path_, fmt::format("cannot be renamed: {}", std::strerror(errno)));
    }
    fresh_ = false;
    ForgetUnfinished(part_);
    ForgetUnfinished(JournalOf(part_));
    part_.clear();
    return true;
  }

 private:
  static std::string JournalOf(const std::string& path) { return path + "-journal"; }

  // An empty file is a new database.
  bool CreateNew() {
    const int fd = CreatePart(path_, part_);
    if (fd == -1) return Fail(path_, fmt::format("cannot be created: {}", std::strerror(errno)));
    close(fd);
    RememberUnfinished(JournalOf(part_));
    return true;
  }

  // A new database gets its tables; another program's is left alone.
  bool CheckSchema() {
    int64_t tables = 0;
    int64_t application = 0;
    int64_t version = 0;
    if (!ReadNumber(database_, "SELECT count(*) FROM sqlite_master", tables) ||
        !ReadNumber(database_, "PRAGMA application_id", application) ||
        !ReadNumber(database_, "PRAGMA user_version", version)) {
      return false;
    }
    if (tables == 0) {
      return database_.Run(kSchema) &&
             database_.Run(fmt::format("PRAGMA application_id = {}", kApplication).c_str()) &&
             database_.Run(fmt::format("PRAGMA user_version = {}", kSchemaVersion).c_str());
    }
    if (application != kApplication) return Fail(path_, "is the database of another program");
    return version == kSchemaVersion ||
           Fail(path_, fmt::format("has schema version {}, but {} is written; export into a new "
                                   "database",
                                   version, kSchemaVersion));
  }

  bool FindSeries(const ExportRow& row, int64_t& series) {
    const auto [found, is_new] = series_.try_emplace(SeriesOf(row), 0);
    if (is_new) {
      Statement& put = statements_->put_series;
      put.Bind(1, array_);
      put.Bind(2, level_);
      put.Bind(3, row.kind);
      put.Bind(4, row.key);
      put.Bind(5, row.column.metric);
      put.Bind(6, row.column.row->statistic);
      put.Bind(7, row.column.row->unit);
      BindName(put, 8, labels_.OfResource(array_, row.kind, row.key));
      BindName(put, 9, labels_.OfGroup(row.kind, row.column.group));
      if (!put.Run(&found->second)) return false;
    }
    series = found->second;
    return true;
  }

  // In the order of the index. Rows come record by record, so that each would touch another page of
  // it; sorted they fill it page by page, and find each other again when they are removed.
  bool PutSamples() {
    Statement& put = statements_->put_sample;
    return sort_->Merge([&](const Sample& sample) {
      put.Bind(1, file_);
      put.Bind(2, static_cast<int64_t>(sample.series));
      put.Bind(3, int64_t{sample.stamp});
      put.Bind(4, sample.value);
      return put.Run();
    });
  }

  // Once for all rows of a record.
  bool PutPeriod(const RecordPeriod& period) {
    const std::array<uint32_t, 3> times = {period.stamp, period.begin, period.end};
    if (period_ == times) return true;
    period_ = times;
    Statement& put = statements_->put_period;
    put.Bind(1, file_);
    for (size_t i = 0; i < times.size(); ++i) put.Bind(static_cast<int>(i) + 2, int64_t{times[i]});
    return put.Run();
  }

  void BindName(Statement& put, int at, const std::string& name) const {
    if (labels_.empty()) {
      put.BindNull(at);
    } else {
      put.Bind(at, name);
    }
  }

  void RemovePart() const {
    unlink(part_.c_str());
    unlink(JournalOf(part_).c_str());
  }

  std::string path_;
  std::string part_;  // of a new database until it is finished
  const Labels& labels_;
  bool fresh_ = false;  // the database is new: it is built in the part file
  Database database_;
  std::unique_ptr<Statements> statements_ = std::make_unique<Statements>();
  std::string array_;
  std::string level_;
  int64_t file_ = 0;
  std::unique_ptr<SampleSort> sort_;               // of the file at hand
  int64_t first_sample_ = 0;                       // of the file at hand
  std::optional<std::array<uint32_t, 3>> period_;  // put last
  std::unordered_map<uint64_t, int64_t> series_;
};

}  // namespace

std::unique_ptr<ExportSink> MakeSqliteSink(const std::string& path, const Labels& labels) {
  auto sink = std::make_unique<SqliteSink>(path, labels);
  if (!sink->Open()) return nullptr;
  return sink;
}

}  // namespace psltool
