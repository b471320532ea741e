#include "terminal/ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>

namespace orqmodel {

ProgressBar::ProgressBar(const Console& console, std::string_view label)
    : terminal_(console.terminal), label_(label) {
    if (!console.shows_progress)
        terminal_ = nullptr;
}

ProgressBar::~ProgressBar() {
    if (percent_ >= 0)
        *terminal_ << "\r\033[K" << std::flush;
}

void ProgressBar::Show(double done) {
    const int percent = static_cast<int>(100 * std::clamp(done, 0.0, 1.0));
    if (terminal_ == nullptr || percent == percent_)
        return;
    percent_ = percent;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    *terminal_ << fmt::format("\r{} [{:#<{}}{:.<{}}] {:3} %", label_, "", filled, "",
                              kWidth - filled, percent)
               << std::flush;
}

}  // namespace orqmodel
