// Text as source of manual pages: what the formatter would take for something else is escaped,
// lines are of a length that people can edit and checkers like.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace psltool {

// A text as it is, for examples and names: no character changes its look or its meaning when it is
// copied from the page.
std::string Literal(std::string_view text);

// In bold, or as what a person puts in.
std::string Bold(std::string_view text);
std::string Italic(std::string_view text);

// A paragraph, its lines broken anew. `commands` and -options in it stand in bold.
std::string Prose(std::string_view text);

// Lines as they stand, in a block of their own.
std::string Block(const std::vector<std::string>& lines);

// A whole page as checkers want it: no paragraph begins where there is one already, lines of text
// are broken.
std::string Tidied(const std::string& page);

// The head of a page: ".TH" with the date of the release and the version.
std::string PageHead(const std::string& name, const std::string& section,
                     const std::string& manual);

// The day of the release: that of SOURCE_DATE_EPOCH, which package builders set, else today's.
std::string ReleaseDate();

std::vector<std::string> LinesOf(std::string_view text);
std::vector<std::string> WordsOf(std::string_view text);

}  // namespace psltool
