#pragma once

#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQBasStringMode.h"
#include "atr_String.h"

/// A message that is put together for the reader: its text may hold numbered placeholders, so that
/// a translation can order the values as its language wants.
///
///     atr_translate("Layer %2 of section %1", ORQBasStringMode::Unicode)
///         .atr_SubstituteFormat({"S-1", "3"})
///         .Result()                                      // "Layer 3 of section S-1"
///
/// No message catalogue is loaded: a message reads as the program gave it.
class ORQ_EXPORT atr_translate {
  public:
    /// Null gives the empty message. Bytes that are not UTF-8 read as U+FFFD.
    atr_translate(const char* message, ORQBasStringMode mode);

    /// Gives %1 its value from `values[0]`, %2 from `values[1]` and so on, in place of the values
    /// given before. A placeholder without a value stays as it stands; values are not searched for
    /// placeholders.
    atr_translate& atr_SubstituteFormat(std::vector<std::string> values);

    atr_String Result() const;

  private:
    std::string m_message;
    std::vector<std::string> m_values;
    ORQBasStringMode m_mode;
};
