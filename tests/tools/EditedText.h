#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A text to put in the first place of another one.
struct Edit {
    std::string from;
    std::string to;
};

inline std::string Edited(std::string text, const std::vector<Edit>& edits) {
    for (const Edit& edit : edits) {
        const auto at = text.find(edit.from);
        EXPECT_NE(at, std::string::npos) << edit.from;
        text.replace(at, edit.from.size(), edit.to);
    }
    return text;
}
