#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace orq::exchange {

/// Where a model is written.
struct Output {
    std::filesystem::path file;
    /// Called with 0 to 1; may throw to give up.
    std::function<void(double)> progress = [](double) {};
    /// For a format that has a file for each time: an existing folder for them, and its name as it
    /// will stand beside `file`.
    std::filesystem::path folder = {};
    std::string folderName = {};

    /// Shows that so many parts of all are written.
    void Show(std::size_t nDone, std::size_t nAll) const {
        progress(static_cast<double>(nDone) / static_cast<double>(nAll));
    }
};

}  // namespace orq::exchange
