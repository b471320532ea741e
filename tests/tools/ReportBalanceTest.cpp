// The reports of imports and exports account for all that `info` counts in a model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>

#include "CommandRun.h"
#include "ExodusFile.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;

namespace {

json JsonOf(const Arguments& arguments) {
    const CommandResult result = RunHere(arguments);
    EXPECT_TRUE(result.status == 0 || result.status == 1) << result.err;
    return json::parse(result.out, nullptr, false);
}

/// What a report says, added up over all outcomes.
class Account {
  public:
    explicit Account(const json& report) {
        for (const char* const outcome : {"kept", "changed", "dropped"}) {
            for (const json& entry : report[outcome]) {
                Add(entry);
            }
        }
        for (const char* const outcome : {"kept", "dropped"}) {
            for (const json& entry : report[outcome]) {
                m_sums[KindOf(entry)] += entry["count"].get<std::int64_t>();
            }
        }
    }

    std::int64_t NumObjects(const std::string& kind) const {
        const auto found = m_members.find(kind);
        return found == m_members.end() ? 0 : std::ssize(found->second);
    }
    bool Names(const std::string& kind, const std::string& name) const {
        const auto found = m_members.find(kind);
        return found != m_members.end() && found->second.contains(name);
    }
    /// Of each object once.
    std::int64_t NumMembers(const std::string& kind) const {
        std::int64_t sum = 0;
        if (const auto found = m_members.find(kind); found != m_members.end()) {
            for (const auto& [name, count] : found->second) {
                sum += count;
            }
        }
        return sum;
    }
    /// Of all that was kept or dropped.
    std::int64_t Sum(const std::string& kind) const {
        const auto found = m_sums.find(kind);
        return found == m_sums.end() ? 0 : found->second;
    }

  private:
    static std::string KindOf(const json& entry) {
        const std::string kind = entry["kind"];
        return kind == "side set" ? "surface" : kind;
    }
    void Add(const json& entry) {
        m_members[KindOf(entry)].emplace(entry["name"], entry["count"].get<std::int64_t>());
    }

    std::map<std::string, std::map<std::string, std::int64_t>> m_members;  // by kind and name
    std::map<std::string, std::int64_t> m_sums;                            // by kind
};

/// How many objects of each kind `info` lists, by the word that reports have for it.
std::map<std::string, std::int64_t> ObjectsIn(const json& info) {
    std::map<std::string, std::int64_t> counts;
    for (const auto& [list, kind] :
         {std::pair("blocks", "element block"), std::pair("surfaces", "surface"),
          std::pair("sections", "section"), std::pair("materials", "material"),
          std::pair("orientations", "orientation")}) {
        counts[kind] = std::ssize(info[list]);
    }
    const auto nNodeSets =
        std::ranges::count_if(info["sets"], [](const json& set) { return set["of"] == "nodes"; });
    counts["node set"] = nNodeSets;
    counts["element set"] = std::ssize(info["sets"]) - nNodeSets;
    return counts;
}

void ExpectBalance(const Account& account, const json& info) {
    EXPECT_EQ(account.NumMembers("nodes"), info["nodes"]);
    EXPECT_EQ(account.NumMembers("element block") + account.Sum("elements"), info["elements"]);
    for (const auto& [kind, count] : ObjectsIn(info)) {
        EXPECT_EQ(account.NumObjects(kind), count) << kind;
    }
    const std::map<std::string, std::string> kinds = {{"nodes", "nodal field"},
                                                      {"elements", "element field"},
                                                      {"model", "field of the whole model"}};
    std::map<std::string, std::set<std::string>> fields;
    for (const json& field : info["fields"]) {
        fields[kinds.at(field["place"])].insert(field["name"]);
        EXPECT_TRUE(account.Names(kinds.at(field["place"]), field["name"])) << field;
    }
    for (const auto& [place, kind] : kinds) {
        EXPECT_EQ(account.NumObjects(kind), std::ssize(fields[kind])) << kind;
    }
    std::int64_t nTimes = 0;
    for (const json& step : info["steps"]) {
        nTimes += step["times"].get<std::int64_t>();
    }
    EXPECT_EQ(account.Sum("times"), nTimes);
    std::map<std::string, std::int64_t> texts;
    for (const json& text : info["kept_texts"]) {
        for (const json& content : text["contents"]) {
            texts[text["section"]] +=
                text["also_in_model"].get<bool>() ? 0 : content["count"].get<std::int64_t>();
        }
    }
    for (const auto& [section, count] : texts) {
        EXPECT_EQ(account.Sum(section) + account.Sum(section + " as text"), count) << section;
    }
}

class ReportBalance : public testing::TestWithParam<const char*> {
  protected:
    fs::path File() const {
        return std::string(GetParam()) == "wing_box.e" ? fs::path(ORQ_WING_BOX)
                                                       : fs::path(ORQ_SHARED_MODELS) / GetParam();
    }
    ScratchFolder m_folder;
};

}  // namespace

TEST_P(ReportBalance, EveryObjectIsKeptChangedOrDropped) {
    if (!fs::exists(File())) {
        GTEST_SKIP() << File() << " is not here";
    }
    const std::string model = m_folder / "model.orq";
    Arguments import = {"import", File(), "-o", model, "--json"};
    if (File() == ORQ_WING_BOX) {
        import.insert(import.end(), {"--layup", ORQ_WING_BOX_LAYUP});
    }
    const json imported = JsonOf(import);
    const json info = JsonOf({"info", model, "--json"});
    {
        SCOPED_TRACE("import");
        ExpectBalance(Account(imported["report"]), info);
    }
    for (const char* const format : {"e", "bdf", "vtu", "pvd", "msh"}) {
        SCOPED_TRACE(format);
        const json exported =
            JsonOf({"export", model, "-o", m_folder / (std::string("out.") + format), "--json"});
        ExpectBalance(Account(exported["report"]), info);
    }
}

INSTANTIATE_TEST_SUITE_P(Models, ReportBalance,
                         testing::Values("wing_box.e", "bwb_saero.bdf", "flat_plate_composite.bdf",
                                         "box_solid_shell_results.g", "subduction_tri.exo",
                                         "basemat_isolators.e", "block_crush_1.ex2",
                                         "shelf_modes.msh", "strikeslip_tet.msh"),
                         [](const auto& model) {
                             std::string name = model.param;
                             std::ranges::replace_if(
                                 name, [](char c) { return std::isalnum(c) == 0; }, '_');
                             return name;
                         });
