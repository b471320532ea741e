#include "ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>

namespace orqmodel {

ProgressBar::ProgressBar(const Console& console, std::string_view label)
    : err_(console.err), is_shown_(console.shows_progress), label_(label) {}

ProgressBar::~ProgressBar() {
    if (percent_ >= 0)
        err_ << "\r\033[K" << std::flush;
}

void ProgressBar::Show(double done) {
    const int percent = static_cast<int>(100 * std::clamp(done, 0.0, 1.0));
    if (!is_shown_ || percent == percent_)
        return;
    percent_ = percent;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    err_ << fmt::format("\r{} [{:#<{}}{:.<{}}] {:3} %", label_, "", filled, "", kWidth - filled,
                        percent)
         << std::flush;
}

}  // namespace orqmodel
