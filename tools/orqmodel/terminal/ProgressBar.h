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
    /// Says what is being done, where nobody tells how far it has come.
    void ShowBusy();

  private:
    std::ostream* m_terminal;  // null where nobody watches
    std::string m_label;
    int m_percent = -1;
    bool m_isShown = false;
};

/// Does work, while a terminal says so, of which nobody tells how far it has come.
template <class Work>
auto WhileShown(const Console& console, std::string_view label, Work&& work) {
    ProgressBar bar(console, label);
    bar.ShowBusy();
    return work();
}

}  // namespace orqmodel
