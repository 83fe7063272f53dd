// What every fuzz target is: a function that takes bytes nobody vouches for and says what is wrong.
// A fault of memory or arithmetic ends the process (sanitizers); what two readers of the same bytes
// cannot both be right about is returned.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

using Input = std::span<const uint8_t>;

// "", or what is wrong.
using Target = std::string (*)(Input input);

// Records through the engine: the first byte chooses automatic or manual rules and the level of the
// outputs, then up to three files.
std::string Archive(Input input);
// The same, up to two files, twice: the records one by one, and side by side in pieces. The first
// byte chooses the size of pieces, too, the second one how many records at a time.
std::string SideBySide(Input input);
// One log through the engine; what comes out is checked and audited against it.
std::string Prove(Input input);
// One file through `check`, `info`, `dump` and `export`. The first byte chooses the forms.
std::string Read(Input input);
// One file through `salvage`, in both ways.
std::string Salvaged(Input input);
// An archive and up to two inputs through `audit` and `explain`.
std::string Audit(Input input);
// A configuration segment, as the archiver and psltool read it.
std::string Segment(Input input);
// File names: what the archiver and psltool take from two of them.
std::string Names(Input input);
// Times as people write them.
std::string Times(Input input);
// A tree of monitor logs, pruned by the program and by the model.
std::string Pml(Input input);
// Shared text files.
std::string ShareTxt(Input input);
// SHA256SUMS.
std::string Sums(Input input);
// Trace and operation log, as `health` reads them.
std::string Logs(Input input);
// Label files.
std::string LabelFile(Input input);
// Rules of `limits`: a line, and with a first byte of 128 and more the file.
std::string Rules(Input input);

// The pieces of an input that stands for several files. Between them is a mark; what comes behind
// the last piece asked for is left out.
inline constexpr std::string_view kMark = "|PIECE|";
std::vector<Input> PiecesOf(Input input, size_t most);
std::string Joined(const std::vector<std::string>& pieces);

// Takes numbers off the front; 0 when there are no bytes left.
class Taker {
 public:
  explicit Taker(Input input) : rest_(input) {}
  uint8_t Byte();
  uint32_t Word();  // four bytes
  std::string Text(size_t size);
  bool empty() const { return rest_.empty(); }
  Input rest() const { return rest_; }

 private:
  Input rest_;
};

std::string TextOf(Input input);

}  // namespace fuzz
