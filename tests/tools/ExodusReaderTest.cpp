#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <numeric>
#include <stdexcept>

#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcImportError.h"
#include "formats/exodus/ExodusReader.h"

namespace {

using exodus_file::Content;
using exodus_file::ScratchFolder;
using orq::exchange::ExodusReader;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

struct Nodes {
    std::vector<double> coordinates;
    std::vector<int> labels;
    bool operator==(const Nodes&) const = default;
};

Nodes ReadInBlocks(ExodusReader& reader, int block) {
    const auto dimension = static_cast<std::size_t>(reader.Dimension());
    Nodes nodes;
    for (int begin = 0; begin < reader.NumNodes(); begin += block) {
        const int end = std::min(begin + block, reader.NumNodes());
        std::vector<double> coordinates(static_cast<std::size_t>(end - begin) * dimension, -1e300);
        std::vector<int> labels(static_cast<std::size_t>(end - begin), -1);
        reader.ReadCoordinates(begin, end, coordinates);
        reader.ReadLabels(ORQObjLabelerType::Node, begin, end, labels);
        nodes.coordinates.insert(nodes.coordinates.end(), coordinates.begin(), coordinates.end());
        nodes.labels.insert(nodes.labels.end(), labels.begin(), labels.end());
    }
    return nodes;
}

/// All that an import asks of a file.
Nodes ReadAll(const std::filesystem::path& file) {
    ExodusReader reader(file);
    reader.CheckLabels(file);
    reader.Losses();
    int nElements = 0;
    for (std::size_t block = 0; block < reader.Blocks().size(); ++block) {
        const ORQExcMeshSource::Block& one = reader.Blocks()[block];
        std::vector<int> nodes(static_cast<std::size_t>(one.nElements) *
                               static_cast<std::size_t>(one.shape->nNodes));
        reader.ReadConnectivity(static_cast<int>(block), 0, one.nElements, nodes);
        nElements += one.nElements;
    }
    std::vector<int> labels(static_cast<std::size_t>(nElements));
    reader.ReadLabels(ORQObjLabelerType::Element, 0, nElements, labels);
    for (int set = 0; set < std::ssize(reader.NodeSets()); ++set) {
        reader.ReadSet(ORQObjLabelerType::Node, set);
    }
    for (int set = 0; set < std::ssize(reader.SideSets()); ++set) {
        reader.ReadSideSet(set);
    }
    return ReadInBlocks(reader, std::max(1, reader.NumNodes()));
}

std::string ErrorOf(const std::filesystem::path& file) {
    try {
        ReadAll(file);
    } catch (const ORQExcImportError& error) {
        return error.what();
    }
    return "no error";
}

class ExodusReaderTest : public testing::Test {
  protected:
    std::filesystem::path Written(const Content& content) {
        exodus_file::Write(content, m_file);
        return m_file;
    }

    ScratchFolder m_folder;
    std::filesystem::path m_file = m_folder / "model.e";
};

TEST_F(ExodusReaderTest, InterleavesCoordinatesWhateverTheContainerAndPrecision) {
    for (const bool isHdf5 : {false, true}) {
        for (const bool isSingle : {false, true}) {
            Content content;
            content.isHdf5 = isHdf5;
            content.isSinglePrecision = isSingle;
            ExodusReader reader(Written(content));
            EXPECT_EQ(reader.Title(), content.title);
            const Nodes expected = {
                {0.5, -0.25, 10, 1.5, -1.25, 11, 2.5, -2.25, 12, 3.5, -3.25, 13}, {40, 10, 30, 20}};
            EXPECT_EQ(ReadInBlocks(reader, 3), expected);
        }
    }
}

TEST_F(ExodusReaderTest, ReadsOneAndTwoDimensions) {
    Content content;
    content.dimension = 2;
    EXPECT_THAT(ReadAll(Written(content)).coordinates,
                ElementsAre(0.5, -0.25, 1.5, -1.25, 2.5, -2.25, 3.5, -3.25));
    content.dimension = 1;
    EXPECT_THAT(ReadAll(Written(content)).coordinates, ElementsAre(0.5, 0, 1.5, 0, 2.5, 0, 3.5, 0));
}

TEST_F(ExodusReaderTest, NumbersNodesInFileOrderWhenTheFileHasNoLabels) {
    Content content;
    content.labels = {};
    EXPECT_THAT(ReadAll(Written(content)).labels, ElementsAre(1, 2, 3, 4));
}

TEST_F(ExodusReaderTest, BlocksMayBeLargerThanTheInternalSlices) {
    Content content;
    constexpr int kNodes = 150'001;
    content.x.resize(kNodes);
    std::iota(content.x.begin(), content.x.end(), 0.25);
    content.y = content.z = content.x;
    content.labels.resize(kNodes);
    std::iota(content.labels.rbegin(), content.labels.rend(), 7);
    ExodusReader reader(Written(content));
    EXPECT_EQ(ReadInBlocks(reader, kNodes), ReadInBlocks(reader, 997));
    EXPECT_EQ(ReadInBlocks(reader, kNodes).coordinates[3 * 140'000 + 2], 140'000.25);
    EXPECT_EQ(ReadInBlocks(reader, kNodes).labels[140'000], 7 + 10'000);
}

TEST_F(ExodusReaderTest, SaysWhatIsNoExodusFile) {
    EXPECT_THAT(ErrorOf(m_file), AllOf(StartsWith(m_file.string()), HasSubstr("does not exist")));
    EXPECT_THAT(ErrorOf(m_file.parent_path()), HasSubstr("is a directory"));
    EXPECT_THAT(ErrorOf("http://localhost/model.e"), HasSubstr("does not exist"));
    const struct {
        std::string_view bytes;
        const char* message;
    } cases[] = {
        {"", "is empty"},
        {"CD", "neither as netCDF nor as HDF5"},
        {"solid cube\n  facet normal 0 0 1\n", "neither as netCDF nor as HDF5"},
        {"CDF\7............................", "7 is not a netCDF classic version"},
        {"\x89HDF\r\n\x1a\n rest of something else", "Exodus library cannot open it"},
        // A sound netCDF file without dimensions, attributes and variables.
        {{"CDF\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 32},
         "Exodus library cannot open it"},
    };
    testing::internal::CaptureStderr();
    for (const auto& [bytes, message] : cases) {
        PutBytes(m_file, bytes);
        EXPECT_THAT(ErrorOf(m_file), AllOf(StartsWith(m_file.string()), HasSubstr(message)));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ExodusReaderTest, SaysWhenAFileMayNotBeRead) {
    Written({});
    ASSERT_EQ(chmod(m_file.parent_path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(m_file.c_str(), 0), 0);
    const WithoutPrivileges meanwhile;
    EXPECT_THAT(ErrorOf(m_file), HasSubstr("cannot be read: Permission denied"));
}

TEST_F(ExodusReaderTest, ACutFileIsAnErrorAtEveryLength) {
    for (const bool isHdf5 : {false, true}) {
        Content content;
        content.isHdf5 = isHdf5;
        const auto whole = Bytes(Written(content));
        const std::size_t step = isHdf5 ? 97 : 1;
        for (std::size_t length = 0; length < whole.size(); length += step) {
            PutBytes(m_file, std::string_view(whole).substr(0, length));
            EXPECT_THROW(ReadAll(m_file), ORQExcImportError) << length << " of " << whole.size();
        }
    }
}

TEST_F(ExodusReaderTest, ADamagedHeaderNeverCrashesNorReadsBeyondTheFile) {
    Content content;
    content.blocks = {{10, "left", "TRI3", 3, {1, 2, 3, 2, 4, 3}, {}},
                      {20, "right", "QUAD4", 4, {1, 2, 4, 3}, {}}};
    content.elementLabels = {7, 9, 8};
    content.nodeSets = {{1, "nodes", {1, 4}, {}}};
    content.sideSets = {{1, "sides", {1, 3}, {2, 4}}};
    const auto whole = Bytes(Written(content));
    const auto expectedSize = ReadAll(m_file).coordinates.size();
    int errors = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int value : {0x00, 0x7F, 0xFF}) {
            auto damaged = whole;
            damaged[at] = static_cast<char>(value);
            PutBytes(m_file, damaged);
            try {
                EXPECT_LE(ReadAll(m_file).coordinates.size(), expectedSize) << "byte " << at;
            } catch (const ORQExcImportError&) {
                ++errors;
            }
        }
    }
    EXPECT_GT(errors, 100);
}

TEST_F(ExodusReaderTest, NamesTheNodeOfABadLabel) {
    Content content;
    content.isHdf5 = true;  // Keeps 64-bit labels.
    content.labels = {40, 10, 30, 10};
    EXPECT_THAT(ErrorOf(Written(content)),
                HasSubstr("node labels: nodes 2 and 4 in file order both have label 10"));
    content.labels = {40, 10, 0, 20};
    EXPECT_THAT(ErrorOf(Written(content)), HasSubstr("node 3 in file order has label 0"));
    content.labels = {40, -7, 30, 20};
    EXPECT_THAT(ErrorOf(Written(content)), HasSubstr("node 2 in file order has label -7"));
    content.labels = {40, 10, 30, 5'000'000'000};
    EXPECT_THAT(ErrorOf(Written(content)), HasSubstr("node 4 in file order has label 5000000000"));
}

TEST_F(ExodusReaderTest, NamesTheNodeOfACoordinateThatIsNotFinite) {
    Content content;
    content.y[2] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(ErrorOf(Written(content)),
                HasSubstr("coordinates: node 3 in file order (label 30): y is nan"));
    content.y[2] = 0;
    content.z[0] = -std::numeric_limits<double>::infinity();
    EXPECT_THAT(ErrorOf(Written(content)), HasSubstr("node 1 in file order (label 40): z is -inf"));
}

TEST_F(ExodusReaderTest, ACountThatTheFileCannotHoldIsRefusedBeforeReading) {
    Content content;
    content.isHdf5 = true;
    content.hasCoordinates = false;
    content.labels = {};
    content.claimedNodes = 2'000'000'000;
    EXPECT_THAT(ErrorOf(Written(content)), HasSubstr("2000000000 nodes cannot fit into a file"));
    content.claimedNodes = 3'000'000'000;
    EXPECT_THAT(ErrorOf(Written(content)), HasSubstr("3000000000 nodes; at most 2147483647"));
}

nlohmann::json Facts() {
    std::ifstream stream(ORQ_SHARED_MODELS "/facts.json");
    return stream ? nlohmann::json::parse(stream) : nlohmann::json::object();
}

class RealModels : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        const auto all = Facts();
        if (!all.contains(GetParam())) {
            GTEST_SKIP() << "no real models on this machine";
        }
        m_facts = all[GetParam()];
    }

    std::filesystem::path File() const {
        return std::filesystem::path(ORQ_SHARED_MODELS) / GetParam();
    }

    nlohmann::json m_facts;
};

TEST_P(RealModels, NodesAgreeWithAnIndependentReader) {
    ExodusReader reader(File());
    ASSERT_EQ(reader.Dimension(), m_facts["dimension"]);
    ASSERT_EQ(reader.NumNodes(), m_facts["nodes"]);
    const auto nodes = ReadInBlocks(reader, 100);
    const auto dimension = static_cast<std::size_t>(reader.Dimension());
    for (std::size_t axis = 0; axis < dimension; ++axis) {
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        double sum = 0;
        double sumOfSizes = 0;
        for (std::size_t at = axis; at < nodes.coordinates.size(); at += dimension) {
            low = std::min(low, nodes.coordinates[at]);
            high = std::max(high, nodes.coordinates[at]);
            sum += nodes.coordinates[at];
            sumOfSizes += std::abs(nodes.coordinates[at]);
        }
        EXPECT_EQ(low, m_facts["bbox"]["min"][axis]);
        EXPECT_EQ(high, m_facts["bbox"]["max"][axis]);
        EXPECT_NEAR(sum, m_facts["sum_xyz"][axis].get<double>(), 1e-12 * sumOfSizes);
    }
}

TEST_P(RealModels, LabelsAgreeWithAnIndependentReader) {
    ExodusReader reader(File());
    EXPECT_NO_THROW(reader.CheckLabels("f.exo"));
    const auto labels = ReadInBlocks(reader, 100).labels;
    EXPECT_EQ(*std::min_element(labels.begin(), labels.end()), m_facts["node_label"]["min"]);
    EXPECT_EQ(*std::max_element(labels.begin(), labels.end()), m_facts["node_label"]["max"]);
    std::vector<int> counted(labels.size());
    std::iota(counted.begin(), counted.end(), 1);
    EXPECT_EQ(labels == counted, m_facts["node_label"]["is_1_to_n"].get<bool>());
}

TEST_P(RealModels, ACutCopyIsAnError) {
    const auto whole = Bytes(File());
    const ScratchFolder folder;
    const auto cut = folder / "cut.e";
    for (std::size_t part = 0; part < 64; ++part) {
        PutBytes(cut, std::string_view(whole).substr(0, whole.size() * part / 64));
        EXPECT_THROW(ReadAll(cut), ORQExcImportError) << "part " << part << " of 64";
    }
    PutBytes(cut, std::string_view(whole).substr(0, whole.size() - 4));
    EXPECT_THROW(ReadAll(cut), ORQExcImportError);
}

INSTANTIATE_TEST_SUITE_P(Exodus, RealModels,
                         testing::Values("box_solid_shell_results.g", "subduction_tri.exo",
                                         "basemat_isolators.e", "block_crush_1.ex2"));

}  // namespace
