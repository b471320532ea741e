#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <new>

#include "ORQBasAlloc.h"
#include "ORQSimUttAssert.h"
#include "VEXFatalError.h"
#include "aio_ostream.h"

TEST(Allocator, ServesEverySizeAlignedAndAllIsFreedAlike) {
    void* (*const allocators[])(std::size_t) = {mem_OperatorNewThrow, mem_OperatorNewTinyThrow,
                                                mem_OperatorNewThrowBuiltin, mem_Malloc};
    for (const auto allocate : allocators) {
        for (const std::size_t size : {0, 1, 24, 100000, 5000003}) {
            void* const memory = allocate(size);
            ASSERT_NE(memory, nullptr) << size;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignof(std::max_align_t), 0U);
            mem_Free(memory);
        }
    }
    mem_Free(nullptr);
}

TEST(Allocator, ExhaustionThrowsOrIsNull) {
    volatile std::size_t tooMuch = std::numeric_limits<std::size_t>::max() / 4;
    EXPECT_THROW(mem_OperatorNewThrow(tooMuch), std::bad_alloc);
    EXPECT_THROW(mem_OperatorNewTinyThrow(tooMuch), std::bad_alloc);
    EXPECT_THROW(mem_OperatorNewThrowBuiltin(tooMuch), std::bad_alloc);
    EXPECT_EQ(mem_Malloc(tooMuch), nullptr);
}

TEST(OutputStream, PrintsTextsNumbersAndCharacters) {
    testing::internal::CaptureStdout();
    aio_cout.print("BeginIncrement ");
    aio_cout.print_int(-2147483647 - 1);
    aio_cout.print(nullptr);
    aio_cout.print(" 100%s");
    aio_cout.put('\n');
    aio_cout.flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "BeginIncrement -2147483648 100%s\n");
}

TEST(OutputStream, FlushHandsOverWhatWasPrinted) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    aio_ostream stream(file);
    stream.print("written");
    stream.flush();
    char read[16] = {};
    std::rewind(file);
    EXPECT_EQ(std::fread(read, 1, sizeof read, file), 7U);
    EXPECT_STREQ(read, "written");
    std::fclose(file);
}

TEST(FatalErrorDeathTest, ReportsMessageAndPlaceAndAborts) {
    EXPECT_EXIT(VEXFatalError("AssertionFailed:n != 0", nullptr, nullptr, nullptr, "a\\b.cpp", 52),
                testing::KilledBySignal(SIGABRT), "AssertionFailed:n != 0\n.*a\\\\b\\.cpp:52");
    EXPECT_EXIT(VEXFatalError(nullptr, nullptr, nullptr, nullptr, nullptr, 1),
                testing::KilledBySignal(SIGABRT), "fatal error");
}

TEST(AssertionReport, PrintsTheExpressionAndReturns) {
    testing::internal::CaptureStderr();
    ORQSimUttAssert::ReportAssertionFailure("n*sizeof(int) == len");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("n*sizeof(int) == len"),
              std::string::npos);
}
