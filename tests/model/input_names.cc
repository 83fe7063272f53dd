// Names of inputs and outputs: see the header.
#include "tests/model/input_names.h"

#include <cstdio>
#include <cstdlib>

namespace model {

std::string ArrayName(const std::string& name) {
  const std::size_t dot = name.find('.');
  if (dot == std::string::npos) throw RunEnds("no extension");
  std::string text = name.substr(0, dot);
  text = text.substr(0, text.find('#'));
  if (text.size() < 8) throw RunEnds("no array name");
  return text.substr(8);
}

std::string DayPrefix(const std::string& name) {
  const std::size_t hash = name.rfind('#');
  return name.substr(0, hash != std::string::npos ? hash : name.rfind('.'));
}

std::string SortedArray(const std::string& name) {
  const std::string prefix = DayPrefix(name);
  return prefix.size() > 8 ? prefix.substr(8) : std::string();
}

std::string SequelName(const std::string& name) {
  const std::size_t hash = name.find('#');
  if (hash != std::string::npos) {
    char number[16];
    std::snprintf(number, sizeof number, "#%03d", std::atoi(name.substr(hash + 1, 5).c_str()) + 1);
    return name.substr(0, hash) + number + ".psa";
  }
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos) return name + "#002";
  return name.substr(0, dot) + "#002" + name.substr(dot);
}

std::string SortKey(const std::string& name) {
  const std::size_t slash = name.rfind('/');
  const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
  const std::size_t dot = base.rfind('.');
  const std::size_t hash = base.rfind('#');
  const std::size_t end = hash != std::string::npos ? hash : dot;
  std::string key = end > 8 ? base.substr(8, end - 8) : std::string();
  key += base.substr(0, 8);
  key += hash != std::string::npos ? base.substr(hash, dot - hash) : std::string("#001");
  return key;
}

}  // namespace model
