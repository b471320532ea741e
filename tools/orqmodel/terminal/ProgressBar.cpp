#include "terminal/ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>

namespace orqmodel {

ProgressBar::ProgressBar(const Console& console, std::string_view label)
    : m_terminal(console.terminal), m_label(label) {
    if (!console.showsProgress) {
        m_terminal = nullptr;
    }
}

ProgressBar::~ProgressBar() {
    if (m_isShown) {
        *m_terminal << "\r\033[K" << std::flush;
    }
}

void ProgressBar::Show(double done) {
    const int percent = static_cast<int>(100 * std::clamp(done, 0.0, 1.0));
    // A terminal is slow beside the work: it gets a hundred lines at most.
    if (m_terminal == nullptr || percent == m_percent) {
        return;
    }
    m_percent = percent;
    m_isShown = true;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    *m_terminal << fmt::format("\r{} [{:#<{}}{:.<{}}] {:3} %", m_label, "", filled, "",
                               kWidth - filled, percent)
                << std::flush;
}

void ProgressBar::ShowBusy() {
    if (m_terminal != nullptr) {
        m_isShown = true;
        *m_terminal << fmt::format("\r{} ...", m_label) << std::flush;
    }
}

}  // namespace orqmodel
