#pragma once

#include <string>
#include <utility>

/// The text of a report: plain bytes without a life of their own, made to be shown.
class atr_String {
  public:
    atr_String() = default;
    /// Null gives the empty text.
    atr_String(const char* text) : m_text(text != nullptr ? text : "") {}
    explicit atr_String(std::string text) : m_text(std::move(text)) {}

    /// Valid until the string changes or ends.
    const char* c_str() const { return m_text.c_str(); }

    friend bool operator==(const atr_String&, const atr_String&) = default;

  private:
    std::string m_text;
};
