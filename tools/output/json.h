// JSON that commands print: a value tree in the order in which it was filled. The library that
// turns it into text stands behind it, in json.cc alone: its headers were a quarter of the build.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace psltool {

class TextOut;

class Json {
 public:
  // Nothing of it is inline: commands are full of such values, and compiling them takes long.
  Json();  // null
  Json(const Json&);
  Json(Json&&) noexcept;
  Json& operator=(const Json&);
  Json& operator=(Json&&) noexcept;
  ~Json();
  Json(std::nullptr_t);
  Json(bool value);
  Json(double value);
  Json(const std::optional<double>& value);  // null when there is none
  Json(std::signed_integral auto value) : Json(Signed{value}) {}
  Json(std::unsigned_integral auto value) : Json(Unsigned{value}) {}
  Json(const char* text);
  Json(std::string_view text);
  Json(const std::string& text);
  Json(const std::vector<std::string>& texts);
  // A list of pairs that begin with a text is an object, any other list an array.
  Json(std::initializer_list<Json> values);

  static Json Array();
  static Json Object();

  // The member of an object; added as null when there is none. Null becomes an object.
  Json& operator[](std::string_view name);
  bool Has(std::string_view name) const;
  // Adds to an array.
  void Append(Json value);
  size_t Size() const;

  // Indented by two, without a line break at its end. Bytes that are no UTF-8 become U+FFFD.
  std::string Text() const;

 private:
  friend struct JsonTree;  // json.cc
  struct List {
    std::vector<Json> items;
  };
  struct Members {
    std::vector<std::string> names;
    std::vector<Json> items;
  };
  struct Signed {
    int64_t value;
  };
  struct Unsigned {
    uint64_t value;
  };
  explicit Json(Signed number);
  explicit Json(Unsigned number);
  explicit Json(List list);
  explicit Json(Members members);

  std::variant<std::monostate, bool, int64_t, uint64_t, double, std::string, List, Members> value_;
};

// Prints it, with a line break at its end. Names of files are bytes, JSON is UTF-8: see Text.
void PutJson(const Json& json, TextOut& out);

// A text as a JSON string, quotes included. Bytes that are no UTF-8 become U+FFFD.
std::string JsonText(const std::string& text);

// The text with U+FFFD for all bytes that are no UTF-8.
std::string Utf8Text(const std::string& text);

}  // namespace psltool
