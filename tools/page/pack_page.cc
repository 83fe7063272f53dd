// Packs the data of a page: see page_text.h. The first piece is a JSON text that says what arrays,
// kinds, measures and files there are and in which pieces their numbers stand.
#include <nlohmann/json.hpp>

#include <algorithm>

#include "tools/measures/measures.h"
#include "tools/page/encode.h"
#include "tools/page/page_choice.h"
#include "tools/page/page_text.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

using Json = nlohmann::ordered_json;

// Numbers of several resources share a piece up to this size.
constexpr size_t kPieceBytes = size_t{64} << 10;

const char* WordOf(Together together) {
  if (together == Together::kSum) return "sum";
  return together == Together::kMean ? "mean" : "largest";
}

Json MeasuresJson(const Labels& labels) {
  Json all = Json::array();
  for (const Measure& each : Measures()) {
    all.push_back({{"name", each.name},
                   {"title", each.title},
                   {"unit", UnitOf(each, labels)},
                   {"grouped", each.grouped},
                   {"byOps", each.weight == Weight::kOperations},
                   {"together", WordOf(each.together)},
                   {"digits", each.digits},
                   {"meaning", each.meaning}});
  }
  return all;
}

Json StatisticsJson() {
  Json all = Json::array();
  for (const Statistic& each : Statistics()) {
    if (each.in_reports) all.push_back({{"name", each.name}, {"meaning", each.meaning}});
  }
  return all;
}

size_t NumberOf(const Measure& measure) {
  return static_cast<size_t>(&measure - Measures().data());
}

Json ColumnPlace(uint16_t column) {
  return column == PageMeasure::kNowhere ? Json() : Json(column);
}

// The moments at which the clocks of the zone change within a span, and what they show from then
// on.
Json ZoneJson(Zone zone, uint32_t from, uint32_t to) {
  Json changes = Json::array();
  const auto add = [&](int64_t moment) {
    changes.push_back({moment, OffsetAt(moment, zone), AbbreviationAt(moment, zone)});
  };
  const int64_t first = int64_t{from} - kSecondsOfDay;
  add(first);
  for (int64_t day = first; day < int64_t{to} + kSecondsOfDay; day += kSecondsOfDay) {
    int64_t low = day;
    int64_t high = day + kSecondsOfDay;
    if (OffsetAt(low, zone) == OffsetAt(high, zone)) continue;
    while (high - low > 1) {
      const int64_t middle = low + (high - low) / 2;
      (OffsetAt(middle, zone) == OffsetAt(low, zone) ? low : high) = middle;
    }
    add(high);
  }
  return {{"utc", zone == Zone::kUtc}, {"changes", changes}};
}

class Packer {
 public:
  Packer(const PageSettings& settings, PageData& page) : settings_(settings), page_(page) {}

  PagePieces Pack() {
    Json json = {{"version", 1}, {"measures", MeasuresJson(*settings_.labels)}};
    json["statistics"] = StatisticsJson();
    json["columns"] = Json::array();
    for (const PageColumn& each : page_.columns) {
      json["columns"].push_back({{"name", each.name}, {"group", each.group}});
    }
    uint32_t from = UINT32_MAX;
    uint32_t to = 0;
    for (auto& [name, array] : page_.arrays) {
      json["arrays"].push_back(ArrayJson(array));
      if (array.intervals.empty()) continue;
      from = std::min(from, array.intervals.front().begin);
      to = std::max(to, array.intervals.back().end);
    }
    PackDetail(json);
    json["zone"] = ZoneJson(settings_.zone, from, to);
    json["notes"] = page_.notes;
    // Names of files are bytes, JSON is UTF-8.
    const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    pieces_.SetFirst(Packed({reinterpret_cast<const uint8_t*>(text.data()), text.size()}));
    return std::move(pieces_);
  }

 private:
  size_t Add(const PageBytes& bytes) { return pieces_.Add(Packed(bytes)); }
  size_t AddText(const std::string& text) {
    return pieces_.Add(Packed({reinterpret_cast<const uint8_t*>(text.data()), text.size()}));
  }

  Json ArrayJson(PageArray& array) {
    Json json = {{"name", array.name}, {"count", array.intervals.size()}};
    json["times"] = Times(array);
    for (const PageFile& file : array.files) {
      json["files"].push_back({{"path", file.path},
                               {"level", std::string(1, file.level)},
                               {"revision", file.revision},
                               {"size", file.size},
                               {"records", file.records},
                               {"taken", file.taken},
                               {"trouble", file.trouble}});
    }
    json["kinds"] = Json::array();
    for (auto& [word, kind] : array.kinds) json["kinds"].push_back(KindJson(array, kind));
    return json;
  }

  size_t Times(const PageArray& array) {
    std::vector<double> columns[4];
    for (const PageInterval& each : array.intervals) {
      columns[0].push_back(each.begin);
      columns[1].push_back(each.end);
      columns[2].push_back(each.stamp);
      columns[3].push_back(each.level == 'L' ? 0 : each.level == 'H' ? 1 : 2);
    }
    PageBytes bytes;
    for (const auto& column : columns) PutColumn(column, bytes);
    return Add(bytes);
  }

  Json KindJson(const PageArray& array, PageKind& kind) {
    const std::string word = WordOfKind(kind.kind);
    Json json = {{"word", word},
                 {"title", TitleOf(kind.kind)},
                 {"meaning", MeaningOf(kind.kind)},
                 {"groups", kind.groups},
                 {"count", kind.resources.size()},
                 {"many", kind.many},
                 {"wide", kind.wide_ranks},
                 {"columns", kind.columns}};
    for (unsigned group = 1; group <= kind.groups; ++group) {
      json["groupNames"].push_back(GroupText(word, group, *settings_.labels));
    }
    AddKeys(array, kind, word, json);
    json["fine"] = GridJson(kind.fine);
    json["coarse"] = GridJson(kind.coarse);
    json["measures"] = Json::array();
    for (size_t i = 0; i < kind.measures.size(); ++i) {
      if (kind.measures[i].seen) json["measures"].push_back(MeasureJson(kind, i));
    }
    json["sums"] = Sums(kind);
    json["totals"] = Totals(kind, array.intervals.size());
    return json;
  }

  void AddKeys(const PageArray& array, const PageKind& kind, const std::string& word, Json& json) {
    std::string keys;
    Json names = Json::object();
    for (size_t i = 0; i < kind.resources.size(); ++i) {
      if (i != 0) keys += '\n';
      keys += kind.resources[i].key;
      const std::string& name =
          settings_.labels->OfResource(array.name, word, kind.resources[i].key);
      if (!name.empty()) names[std::to_string(i)] = name;
    }
    json["keys"] = AddText(keys);
    if (!names.empty()) json["names"] = names;
  }

  Json GridJson(const PageGrid& grid) {
    if (grid.size() == 0) return {};
    if (grid.native) return {{"native", true}};
    PageBytes bytes;
    PutColumn(std::vector<double>(grid.begins.begin(), grid.begins.end()), bytes);
    PutColumn(std::vector<double>(grid.ends.begin(), grid.ends.end()), bytes);
    return {{"native", false}, {"count", grid.size()}, {"steps", Add(bytes)}};
  }

  Json MeasureJson(const PageKind& kind, size_t number) {
    const PageMeasure& measure = kind.measures[number];
    Json json = {{"m", NumberOf(*measure.at.measure)},  {"g", measure.at.group},
                 {"value", ColumnPlace(measure.value)}, {"most", ColumnPlace(measure.most)},
                 {"least", ColumnPlace(measure.least)}, {"weight", ColumnPlace(measure.weight)}};
    AddRank(kind, number, kind.fine, kind.fine_ranks, "fine", json);
    AddRank(kind, number, kind.coarse, kind.coarse_ranks, "coarse", json);
    return json;
  }

  void AddRank(const PageKind& kind, size_t number, const PageGrid& grid, const RankMatrix& ranks,
               const char* word, Json& json) {
    const auto found = std::find(ranks.measures.begin(), ranks.measures.end(), number);
    if (found == ranks.measures.end() || ranks.cells.empty()) return;
    const auto place = static_cast<size_t>(found - ranks.measures.begin());
    const size_t count = ranks.measures.size();
    const PageMeasure& measure = kind.measures[number];
    const Together together = measure.at.measure->together;
    const auto cell = [&](size_t resource, size_t step) -> const Tally<float>& {
      return ranks.cells[(resource * grid.size() + step) * count + place];
    };
    const MatrixShape shape = {kind.resources.size(), grid.size(), kind.wide_ranks};
    PageBytes bytes;
    PutMatrix(
        shape, [&](size_t i, size_t step) { return cell(i, step).Value(together); }, bytes);
    const bool most = measure.most != PageMeasure::kNowhere;
    if (most) {
      PutMatrix(
          shape, [&](size_t i, size_t step) -> double { return cell(i, step).most; }, bytes);
    }
    json["rank"] = {{"grid", word}, {"piece", Add(bytes)}, {"most", most}};
  }

  // Of the whole span: value and largest single value of each measure, then operations.
  size_t Sums(const PageKind& kind) {
    PageBytes bytes;
    const bool rounded = kind.resources.size() > kSomeResources;
    const auto put = [&](auto number) {
      std::vector<double> numbers;
      for (const PageResource& each : kind.resources) {
        const double exact = number(each);
        numbers.push_back(rounded ? Rounded(exact) : exact);
      }
      PutColumn(numbers, bytes);
    };
    for (size_t i = 0; i < kind.measures.size(); ++i) {
      const PageMeasure& measure = kind.measures[i];
      if (!measure.seen) continue;
      const bool left_out = kind.many && measure.at.group > 1;
      const Together together = measure.at.measure->together;
      put([&](const PageResource& each) {
        return left_out ? kNoNumber : each.tallies[i].Value(together);
      });
      put([&](const PageResource& each) { return left_out ? kNoNumber : each.tallies[i].most; });
    }
    for (size_t group = 0; group < kind.groups; ++group) {
      put([&](const PageResource& each) {
        return kind.many && group > 0 ? kNoNumber : each.operations[group];
      });
    }
    return Add(bytes);
  }

  // Over the intervals: value, most and least of each measure, operations, resources that counted,
  // and the time that they measured.
  size_t Totals(const PageKind& kind, size_t intervals) {
    PageBytes bytes;
    for (size_t i = 0; i < kind.measures.size(); ++i) {
      if (!kind.measures[i].seen) continue;
      const MeasureTotals& totals = kind.totals[i];
      std::vector<double> values;
      for (size_t at = 0; at < intervals; ++at) {
        values.push_back(totals.weights[at] > 0 ? Rounded(totals.sums[at] / totals.weights[at])
                                                : kNoNumber);
      }
      PutColumn(values, bytes);
      PutRounded(totals.most, bytes);
      PutRounded(totals.least, bytes);
    }
    for (const auto& operations : kind.operations) PutColumn(operations, bytes);
    PutColumn(kind.counted, bytes);
    PutColumn(kind.milliseconds, bytes);
    return Add(bytes);
  }

  static void PutRounded(std::vector<double> numbers, PageBytes& bytes) {
    std::transform(numbers.begin(), numbers.end(), numbers.begin(), Rounded);
    PutColumn(numbers, bytes);
  }

  PageBytes InFull(const PageKind& kind, const PageResource& resource) const {
    const auto column = [&](const std::string& name) -> std::span<const double> {
      const auto number = page_.column_numbers.find(name);
      if (number == page_.column_numbers.end()) return {};
      const auto at = std::find(kind.columns.begin(), kind.columns.end(), number->second);
      if (at == kind.columns.end()) return {};
      return resource.detail[static_cast<size_t>(at - kind.columns.begin())];
    };
    PageBytes bytes;
    for (size_t i = 0; i < kind.columns.size(); ++i) {
      const PageColumn& about = page_.columns[kind.columns[i]];
      const std::string prefix = "g" + std::to_string(about.group) + "_";
      const std::string_view rest = std::string_view(about.name).substr(prefix.size());
      if (about.group != 0 && (rest == "ops_per_s" || rest == "kvolume_per_s")) {
        PutDerived(resource.detail[i],
                   {column(prefix + "ops"), column("interval_ms"), column(prefix + "second_mean")},
                   bytes);
      } else {
        PutColumn(resource.detail[i], bytes);
      }
    }
    return bytes;
  }

  // In turn one of each kind, so that none goes short when there is no more room.
  void PackDetail(Json& json) {
    struct Open {
      Json* json;
      PageKind* kind;
      PageBytes bytes = {};
      Json told = {{"resources", Json::array()}, {"pieces", Json::array()}, {"at", Json::array()}};
      size_t waiting = 0;  // resources of `bytes`
    };
    std::vector<Open> open;
    size_t a = 0;
    for (auto& [name, array] : page_.arrays) {
      size_t k = 0;
      for (auto& [word, kind] : array.kinds) {
        open.push_back({&json["arrays"][a]["kinds"][k++], &kind});
      }
      ++a;
    }
    const auto close = [&](Open& each) {
      if (each.waiting == 0) return;
      const size_t piece = Add(each.bytes);
      for (; each.waiting > 0; --each.waiting) each.told["pieces"].push_back(piece);
      each.bytes.clear();
    };
    size_t waiting = 0;  // bytes that are not packed yet
    bool any = true;
    for (size_t at = 0; any; ++at) {
      any = false;
      for (Open& each : open) {
        if (at >= each.kind->told_in_full.size()) continue;
        if (pieces_.bytes() + waiting >= settings_.bytes) break;
        any = true;
        const uint32_t number = each.kind->told_in_full[at];
        PageResource& resource = each.kind->resources[number];
        const PageBytes bytes = InFull(*each.kind, resource);
        resource.detail = {};
        each.told["resources"].push_back(number);
        each.told["at"].push_back(each.bytes.size());
        each.bytes.insert(each.bytes.end(), bytes.begin(), bytes.end());
        ++each.waiting;
        waiting += bytes.size();
        if (each.bytes.size() < kPieceBytes) continue;
        waiting -= each.bytes.size();
        close(each);
      }
    }
    for (Open& each : open) {
      close(each);
      (*each.json)["detail"] = std::move(each.told);
    }
  }

  const PageSettings& settings_;
  PageData& page_;
  PagePieces pieces_;
};

}  // namespace

PagePieces PackPage(const PageSettings& settings, PageData& page) {
  return Packer(settings, page).Pack();
}

}  // namespace psltool
