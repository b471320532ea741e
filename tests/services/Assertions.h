#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "ORQBasAssertException.h"

/// A check as hosts know it: by its text, the file of its class, and the line.
struct Assertion {
    std::string text;
    const char* className;
    int line;

    std::string File() const {
        return std::string("ORQSrvSimServices\\ORQSrvFsm.m\\src\\") + className + ".cpp";
    }
};

/// What the check says, as `text, file:line`; "nothing" when an action throws none.
template <class Action>
std::string ThrownBy(Action&& action) {
    try {
        action();
    } catch (ORQBasAssertException& error) {
        return error.AsString(ORQBasStringMode::Unicode).c_str() + std::string(", ") +
               error.GetFile() + ":" + std::to_string(error.GetLine());
    }
    return "nothing";
}
inline std::string Thrown(const Assertion& check) {
    return check.text + ", " + check.File() + ":" + std::to_string(check.line);
}

/// The whole of what the host's runtime prints for a fatal check.
inline auto FatalReport(const Assertion& check) {
    return testing::EndsWith("AssertionFailed:" + check.text + "\n  at " + check.File() + ":" +
                             std::to_string(check.line) + "\n");
}
#define EXPECT_FATAL(statement, ...) \
    EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), FatalReport(Assertion __VA_ARGS__))
