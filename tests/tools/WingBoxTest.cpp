#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "ExodusFile.h"
#include "Files.h"
#include "WingBox.h"

namespace {

using exodus_file::Block;
using exodus_file::Mesh;
using Vector = std::array<double, 3>;

const Mesh& Shipped() {
    static const Mesh mesh = exodus_file::Read(ORQ_WING_BOX);
    return mesh;
}

std::string PartOf(const Block& block) {
    const auto suffix = block.name.rfind("_tri");
    return block.name.substr(0, suffix);
}

Vector Edge(const Mesh& mesh, int from, int to) {
    const auto& a = mesh.positions[static_cast<std::size_t>(from)];
    const auto& b = mesh.positions[static_cast<std::size_t>(to)];
    return {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
}

Vector Cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double Dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Cross product of the two edges that meet at each corner; its length is twice a triangle's area.
std::vector<Vector> CornerNormals(const Mesh& mesh, const std::vector<int>& element) {
    std::vector<Vector> normals;
    const auto count = element.size();
    for (std::size_t corner = 0; corner < count; ++corner) {
        const int here = element[corner];
        const int next = element[(corner + 1) % count];
        const int previous = element[(corner + count - 1) % count];
        normals.push_back(Cross(Edge(mesh, here, next), Edge(mesh, here, previous)));
    }
    return normals;
}

/// Calls visit(block, element) for every element of the shipped mesh.
template <typename Visit>
void ForEachElement(const Visit& visit) {
    for (const auto& block : Shipped().blocks) {
        for (const auto& element : block.elements) {
            visit(block, element);
        }
    }
}

TEST(WingBox, TheGeneratorMakesTheShippedFiles) {
    const exodus_file::ScratchFolder folder;
    wing_box::Write(wing_box::Build(), folder / "made.e");
    const auto made = exodus_file::Read(folder / "made.e");
    const auto& shipped = Shipped();
    EXPECT_EQ(made.title, shipped.title);
    EXPECT_EQ(made.labels, shipped.labels);
    EXPECT_TRUE(made.blocks == shipped.blocks);
    EXPECT_TRUE(made.nodeSets == shipped.nodeSets);
    EXPECT_TRUE(made.sideSets == shipped.sideSets);
    ASSERT_EQ(made.positions.size(), shipped.positions.size());
    for (std::size_t node = 0; node < made.positions.size(); ++node) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            ASSERT_NEAR(made.positions[node][axis], shipped.positions[node][axis], 1e-14);
        }
    }
    wing_box::WriteLayup(wing_box::Build(), folder / "made.json");
    EXPECT_EQ(Bytes(folder / "made.json"), Bytes(ORQ_WING_BOX_LAYUP));
}

TEST(WingBox, EveryNodeIsUsedAndLiesAlone) {
    const auto& mesh = Shipped();
    std::set<int> used;
    ForEachElement(
        [&](const Block&, const auto& element) { used.insert(element.begin(), element.end()); });
    EXPECT_EQ(used.size(), mesh.positions.size());

    auto sorted = mesh.positions;
    std::sort(sorted.begin(), sorted.end());
    constexpr double kClose = 1e-3;
    for (auto a = sorted.begin(); a != sorted.end(); ++a) {
        for (auto b = a + 1; b != sorted.end() && (*b)[0] - (*a)[0] < kClose; ++b) {
            EXPECT_GT(std::hypot((*b)[0] - (*a)[0], (*b)[1] - (*a)[1], (*b)[2] - (*a)[2]), kClose);
        }
    }
}

TEST(WingBox, ElementsAreConvexAndOfReasonableSize) {
    constexpr double kSmallest = 5e-4;  // Square metres.
    constexpr double kLargest = 2e-2;
    int elements = 0;
    ForEachElement([&](const Block& block, const auto& element) {
        ++elements;
        const auto normals = CornerNormals(Shipped(), element);
        for (const auto& normal : normals) {
            EXPECT_GT(Dot(normal, normals[0]), 0) << block.name;
            const double area = std::sqrt(Dot(normal, normal)) / (element.size() == 3 ? 2 : 1);
            EXPECT_GT(area, kSmallest) << block.name;
            EXPECT_LT(area, kLargest) << block.name;
        }
    });
    EXPECT_GE(elements, 2000);
    EXPECT_LE(elements, 6000);
}

TEST(WingBox, NormalsPointWhereTheirPartSays) {
    const std::map<std::string, Vector> directions = {
        {"skin_upper", {0, 0, 1}}, {"skin_lower", {0, 0, -1}}, {"spar_front", {-1, 0, 0}},
        {"spar_rear", {1, 0, 0}},  {"ribs", {0, 1, 0}},        {"stringers", {1, 0, 0}},
    };
    ForEachElement([&](const Block& block, const auto& element) {
        const auto normal = CornerNormals(Shipped(), element)[0];
        EXPECT_GT(Dot(normal, directions.at(PartOf(block))), 0.8 * std::sqrt(Dot(normal, normal)))
            << block.name;
    });
}

TEST(WingBox, PartsAreSewnTogether) {
    struct Use {
        std::string part;
        bool isForward;
    };
    std::map<std::pair<int, int>, std::vector<Use>> uses;
    ForEachElement([&](const Block& block, const auto& element) {
        for (std::size_t at = 0; at < element.size(); ++at) {
            const int from = element[at];
            const int to = element[(at + 1) % element.size()];
            uses[std::minmax(from, to)].push_back({PartOf(block), from < to});
        }
    });
    for (const auto& [edge, users] : uses) {
        EXPECT_LE(users.size(), 4U) << edge.first << ' ' << edge.second;
        std::map<std::string, std::vector<bool>> directions;
        for (const auto& user : users) {
            directions[user.part].push_back(user.isForward);
        }
        for (const auto& [part, ways] : directions) {
            // The closed box of skins and spars has no free edge.
            const bool isOfTheBox = part.starts_with("skin") || part.starts_with("spar");
            EXPECT_FALSE(isOfTheBox && users.size() < 2) << part << ' ' << edge.first;
            // Neighbours within a part agree on the direction of their normals.
            EXPECT_LE(ways.size(), 2U) << part;
            EXPECT_FALSE(ways.size() == 2 && ways[0] == ways[1]) << part << ' ' << edge.first;
        }
    }
}

TEST(WingBox, LabelsAreUniqueAndFollowNoSimpleOrder) {
    auto labels = Shipped().labels;
    EXPECT_FALSE(std::is_sorted(labels.begin(), labels.end()));
    std::sort(labels.begin(), labels.end());
    EXPECT_EQ(std::adjacent_find(labels.begin(), labels.end()), labels.end());
    EXPECT_GT(labels.back() - labels.front(), static_cast<int>(labels.size()));

    std::vector<int> elements;
    for (const auto& block : Shipped().blocks) {
        elements.insert(elements.end(), block.labels.begin(), block.labels.end());
    }
    EXPECT_FALSE(std::is_sorted(elements.begin(), elements.end()));
    std::sort(elements.begin(), elements.end());
    EXPECT_EQ(std::adjacent_find(elements.begin(), elements.end()), elements.end());
}

TEST(WingBox, SetsLieWhereTheirNamesSay) {
    const auto& mesh = Shipped();
    std::map<std::string, std::vector<int>> sets;
    for (const auto& set : mesh.nodeSets) {
        sets[set.name] = set.members;
    }
    const auto countAt = [&](double y) {
        return std::count_if(mesh.positions.begin(), mesh.positions.end(),
                             [&](const auto& position) { return position[1] == y; });
    };
    EXPECT_EQ(std::ssize(sets.at("root_clamp")), countAt(0));
    EXPECT_EQ(std::ssize(sets.at("tip_rib")), countAt(7.2));
    EXPECT_EQ(sets.at("pylon_fitting").size(), 21U);
    for (const int node : sets.at("root_clamp")) {
        EXPECT_EQ(mesh.positions[static_cast<std::size_t>(node)][1], 0);
    }

    std::vector<const std::vector<int>*> elements;
    std::vector<std::string> parts;
    ForEachElement([&](const Block& block, const auto& element) {
        elements.push_back(&element);
        parts.push_back(PartOf(block));
    });
    for (const auto& set : mesh.sideSets) {
        std::map<std::string, int> members;
        for (std::size_t at = 0; at < set.members.size(); ++at) {
            const auto element = static_cast<std::size_t>(set.members[at]);
            ++members[parts[element]];
            if (set.name != "root_edge") {
                EXPECT_EQ(set.sides[at], 1) << set.name;
                continue;
            }
            const auto& nodes = *elements[element];
            const auto from = static_cast<std::size_t>(set.sides[at] - 3);
            ASSERT_LT(from, nodes.size());
            for (const int node : {nodes[from], nodes[(from + 1) % nodes.size()]}) {
                EXPECT_EQ(mesh.positions[static_cast<std::size_t>(node)][1], 0);
            }
        }
        const auto whole = [&](const char* part) {
            return std::count(parts.begin(), parts.end(), part);
        };
        if (set.name == "upper_skin_outer") {
            EXPECT_EQ(members, (std::map<std::string, int>{{"skin_upper", whole("skin_upper")}}));
        } else if (set.name == "lower_skin_outer") {
            EXPECT_EQ(members, (std::map<std::string, int>{{"skin_lower", whole("skin_lower")}}));
        } else {
            EXPECT_EQ(
                members,
                (std::map<std::string, int>{
                    {"skin_upper", 16}, {"skin_lower", 16}, {"spar_front", 6}, {"spar_rear", 6}}));
        }
    }
    EXPECT_EQ(mesh.sideSets.size(), 3U);
}

}  // namespace
