// The pattern language: which expression the text of a rule stands for. Private to the library.

#ifndef QVL_MATCH_PATTERN_LANGUAGE_H
#define QVL_MATCH_PATTERN_LANGUAGE_H

#include <string>
#include <string_view>

namespace QVL {

// The text with every occurrence of `from` replaced, from left to right; what was put in is not
// looked at again. In a time that grows with the text and what comes out.
std::string withReplaced(std::string text, std::string_view from, std::string_view to);

// The expression of a glob, keywords not yet substituted.
std::string expressionOfGlob(std::string glob);

// The expression of a file type: no run, and a star is a star.
std::string expressionOfFileType(std::string fileType);

// The expression of a path, folder or process as far as keywords are substituted in it; those of a
// default folder, which is null where there is none, are.
std::string expressionBeforeKeywords(const std::string& text, bool wildCards,
                                     const std::string* defaultFolder);

// What the expression of a folder ends in.
const char* endOfFolder(bool includesSubFolders);

// What follows the last dot of a path, whatever that is; nothing where there is none.
std::string_view extensionOf(std::string_view path);

}  // namespace QVL

#endif  // QVL_MATCH_PATTERN_LANGUAGE_H
