#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"

/// What a file says that the model has no place for, or not for all of it, as text: for going back
/// to the same format, and for telling what other formats leave out.
struct ORQExcKeptText {
    std::string format;    ///< for example "NASTRAN bulk data"
    std::string section;   ///< of the file, for example "case control"
    std::string instance;  ///< of the model that it belongs to; empty: the whole file
    /// The model has the objects too, without some of what the text says of them.
    bool isAlsoInModel = false;
    /// How many of what: {"FORCE", 12}.
    std::vector<std::pair<std::string, std::int64_t>> contents;
    std::string text;  ///< UTF-8, lines with '\n'
};

/// Adds the texts to those of a model. REQUIRES: an open transaction.
ORQ_EXPORT void ORQExcWriteKeptTexts(const std::vector<ORQExcKeptText>& texts,
                                     const ORQObjDocument& document);

/// Reads the kept texts in the order in which they were added. Throws ORQBasFailure (Damaged) for
/// what is none.
ORQ_EXPORT std::vector<ORQExcKeptText> ORQExcReadKeptTexts(const ORQObjDocument& document);

/// Puts a text into the place of another, which is counted from 0 in the order of the former.
/// REQUIRES: an open transaction.
ORQ_EXPORT void ORQExcReplaceKeptText(const ORQExcKeptText& text, int place,
                                      const ORQObjDocument& document);
