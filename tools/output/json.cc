// JSON that commands print: see the header.
#include "tools/output/json.h"

#include <nlohmann/json.hpp>

#include <algorithm>

#include "tools/output/text_out.h"

namespace psltool {

namespace {

template <class Value>
std::string TextOf(const Value& value, int indent) {
  return value.dump(indent, ' ', false, Value::error_handler_t::replace);
}

}  // namespace

// From the tree to the library's.
struct JsonTree {
  using Tree = nlohmann::ordered_json;

  Tree operator()(std::monostate) const { return nullptr; }
  Tree operator()(const Json::List& list) const {
    Tree tree = Tree::array();
    for (const Json& item : list.items) tree.push_back(std::visit(*this, item.value_));
    return tree;
  }
  Tree operator()(const Json::Members& members) const {
    Tree tree = Tree::object();
    for (size_t i = 0; i < members.items.size(); ++i) {
      tree[members.names[i]] = std::visit(*this, members.items[i].value_);
    }
    return tree;
  }
  template <class Plain>
  Tree operator()(const Plain& value) const {
    return value;
  }
  Tree Of(const Json& json) const { return std::visit(*this, json.value_); }
};

Json::Json() = default;
Json::Json(const Json&) = default;
Json::Json(Json&&) noexcept = default;
Json& Json::operator=(const Json&) = default;
Json& Json::operator=(Json&&) noexcept = default;
Json::~Json() = default;
Json::Json(std::nullptr_t) {}
Json::Json(bool value) : value_(value) {}
Json::Json(double value) : value_(value) {}
Json::Json(const std::optional<double>& value) {
  if (value) value_ = *value;
}
Json::Json(Signed number) : value_(number.value) {}
Json::Json(Unsigned number) : value_(number.value) {}
Json::Json(const char* text) : value_(std::string(text)) {}
Json::Json(std::string_view text) : value_(std::string(text)) {}
Json::Json(const std::string& text) : value_(text) {}
Json::Json(List list) : value_(std::move(list)) {}
Json::Json(Members members) : value_(std::move(members)) {}
Json::Json(const std::vector<std::string>& texts) : value_(List{{texts.begin(), texts.end()}}) {}

Json::Json(std::initializer_list<Json> values) {
  const auto text_of = [](const Json& value) { return std::get_if<std::string>(&value.value_); };
  const auto is_member = [text_of](const Json& value) {
    const List* pair = std::get_if<List>(&value.value_);
    return pair != nullptr && pair->items.size() == 2 && text_of(pair->items[0]) != nullptr;
  };
  if (!std::all_of(values.begin(), values.end(), is_member)) {
    value_ = List{values};
    return;
  }
  Members members;
  for (const Json& value : values) {
    const List& pair = std::get<List>(value.value_);
    members.names.push_back(*text_of(pair.items[0]));
    members.items.push_back(pair.items[1]);
  }
  value_ = std::move(members);
}

Json Json::Array() { return Json(List()); }

Json Json::Object() { return Json(Members()); }

void Json::Append(Json value) { std::get<List>(value_).items.push_back(std::move(value)); }

Json& Json::operator[](std::string_view name) {
  if (std::holds_alternative<std::monostate>(value_)) value_ = Members();
  Members& members = std::get<Members>(value_);
  const auto found = std::find(members.names.begin(), members.names.end(), name);
  if (found != members.names.end()) {
    return members.items[static_cast<size_t>(found - members.names.begin())];
  }
  members.names.emplace_back(name);
  return members.items.emplace_back();
}

bool Json::Has(std::string_view name) const {
  const auto* members = std::get_if<Members>(&value_);
  return members != nullptr &&
         std::find(members->names.begin(), members->names.end(), name) != members->names.end();
}

size_t Json::Size() const { return std::get<List>(value_).items.size(); }

std::string Json::Text() const { return TextOf(JsonTree().Of(*this), 2); }

void PutJson(const Json& json, TextOut& out) {
  out.Put(json.Text());
  out.Put("\n");
}

std::string JsonText(const std::string& text) { return TextOf(nlohmann::json(text), -1); }

std::string Utf8Text(const std::string& text) {
  return nlohmann::json::parse(JsonText(text)).get<std::string>();
}

}  // namespace psltool
