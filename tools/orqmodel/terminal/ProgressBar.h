#pragma once

#include "terminal/Console.h"

namespace orqmodel {

/// A bar on one line of a terminal, which it leaves empty at its end. Shows nothing on a console
/// that nobody watches.
class ProgressBar {
  public:
    ProgressBar(const Console& console, std::string_view label);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// `done` runs from 0 to 1.
    void Show(double done);

  private:
    std::ostream* m_terminal;  // null where nobody watches
    std::string m_label;
    int m_percent = -1;
};

}  // namespace orqmodel
