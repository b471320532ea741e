// Exodus II files come back variable by variable, as the netCDF library itself reads them.

#include <gtest/gtest.h>
#include <netcdf.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"

namespace orqmodel {
namespace {

namespace fs = std::filesystem;

void Check(int status) {
    ASSERT_EQ(status, NC_NOERR) << nc_strerror(status);
}

/// Texts without their padding, numbers as doubles.
struct Variable {
    std::vector<std::string> texts;
    std::vector<double> numbers;

    bool operator==(const Variable& other) const {
        return texts == other.texts &&
               std::ranges::equal(numbers, other.numbers, [](double a, double b) {
                   return a == b || (std::isnan(a) && std::isnan(b));
               });
    }
};

Variable Read(int file, int variable, nc_type type, const std::vector<std::size_t>& lengths) {
    std::size_t size = 1;
    for (const std::size_t length : lengths) {
        size *= length;
    }
    Variable read;
    if (size == 0) {
        return read;
    }
    if (type != NC_CHAR) {
        read.numbers.resize(size);
        Check(nc_get_var_double(file, variable, read.numbers.data()));
        return read;
    }
    std::string bytes(size, '\0');
    Check(nc_get_var_text(file, variable, bytes.data()));
    for (std::size_t at = 0; at < size; at += lengths.back()) {
        std::string text = bytes.substr(at, lengths.back());
        text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
        text.erase(text.find_last_not_of(' ') + 1);
        read.texts.push_back(std::move(text));
    }
    return read;
}

std::map<std::string, Variable> ReadAll(const fs::path& path) {
    int file = 0;
    Check(nc_open(path.c_str(), NC_NOWRITE, &file));
    int nVariables = 0;
    Check(nc_inq_nvars(file, &nVariables));
    std::map<std::string, Variable> variables;
    for (int variable = 0; variable < nVariables; ++variable) {
        std::array<char, NC_MAX_NAME + 1> name{};
        nc_type type = 0;
        int nDimensions = 0;
        std::array<int, NC_MAX_VAR_DIMS> dimensions{};
        Check(nc_inq_var(file, variable, name.data(), &type, &nDimensions, dimensions.data(),
                         nullptr));
        std::vector<std::size_t> lengths(static_cast<std::size_t>(nDimensions));
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            Check(nc_inq_dimlen(file, dimensions[i], &lengths[i]));
        }
        variables[name.data()] = Read(file, variable, type, lengths);
    }
    Check(nc_close(file));
    return variables;
}

/// What differs, by variable.
std::string Differences(const fs::path& input, const fs::path& output) {
    const std::map<std::string, Variable> before = ReadAll(input);
    const std::map<std::string, Variable> after = ReadAll(output);
    std::string text;
    for (const auto& [name, variable] : before) {
        const auto found = after.find(name);
        // A list of no values needs no variable, and a file of the old layout has one for all axes.
        if (name == "coord" || (variable.texts.empty() && variable.numbers.empty())) {
            continue;
        }
        if (found == after.end()) {
            text += name + " is missing\n";
        } else if (!(found->second == variable)) {
            text += name + " differs\n";
        }
    }
    return text;
}

TEST(ExodusVariables, OfRealFilesComeBackOneByOne) {
    const exodus_file::ScratchFolder folder;
    int nFiles = 0;
    for (const fs::path& root : {fs::path(ORQ_SHARED_MODELS), fs::path(ORQ_SHARED_CORPUS)}) {
        if (!fs::exists(root)) {
            continue;
        }
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
            const std::string ending = entry.path().extension();
            std::array<char, 4> magic{};
            std::ifstream(entry.path(), std::ios::binary).read(magic.data(), 4);
            const bool isExodus =
                std::string(magic.data(), 3) == "CDF" || std::string(magic.data(), 4) == "\x89HDF";
            if (!isExodus ||
                (ending != ".e" && ending != ".exo" && ending != ".g" && ending != ".ex2")) {
                continue;
            }
            SCOPED_TRACE(entry.path().filename());
            const std::string model = folder / "m.orq";
            const std::string output = folder / "out.e";
            ASSERT_EQ(RunHere({"import", entry.path().string(), "-o", model, "--force"}).status, 0);
            ASSERT_EQ(RunHere({"export", model, "-o", output, "--force", "--strict"}).status, 0);
            EXPECT_EQ(Differences(entry.path(), output), "");
            ++nFiles;
        }
    }
    if (nFiles == 0) {
        GTEST_SKIP() << "no real models on this machine";
    }
}

// Larger ones than are written at once.
TEST(ExodusVariables, ThatAreLargeComeBackToo) {
    const exodus_file::ScratchFolder folder;
    const fs::path input = folder / "in.e";
    exodus_file::Content content;
    content.blocks = {{1, "skin", "QUAD4", 4, {1, 2, 3, 4}, {}}};
    exodus_file::Write(content, input);
    constexpr std::size_t kRows = 90'001;
    constexpr std::size_t kLength = 50;
    std::vector<double> numbers(kRows * 7);
    std::iota(numbers.begin(), numbers.end(), 0.5);
    std::string texts;
    for (std::size_t row = 0; row < kRows; ++row) {
        std::string text = "text " + std::to_string(row);
        text.resize(kLength);
        texts += text;
    }
    int file = 0;
    std::array<int, 3> dimensions{};
    int ofNumbers = 0;
    int ofTexts = 0;
    Check(nc_open(input.c_str(), NC_WRITE, &file));
    Check(nc_redef(file));
    Check(nc_def_dim(file, "rows", kRows, &dimensions[0]));
    Check(nc_def_dim(file, "columns", 7, &dimensions[1]));
    Check(nc_def_dim(file, "letters", kLength, &dimensions[2]));
    const std::array<int, 2> ofText = {dimensions[0], dimensions[2]};
    Check(nc_def_var(file, "numbers", NC_DOUBLE, 2, dimensions.data(), &ofNumbers));
    Check(nc_def_var(file, "texts", NC_CHAR, 2, ofText.data(), &ofTexts));
    Check(nc_enddef(file));
    Check(nc_put_var_double(file, ofNumbers, numbers.data()));
    Check(nc_put_var_text(file, ofTexts, texts.data()));
    Check(nc_close(file));
    const std::string model = folder / "m.orq";
    ASSERT_EQ(RunHere({"import", input, "-o", model}).status, 0);
    ASSERT_EQ(RunHere({"export", model, "-o", folder / "out.e"}).status, 0);
    EXPECT_EQ(Differences(input, folder / "out.e"), "");
}

}  // namespace
}  // namespace orqmodel
