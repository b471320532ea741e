#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQBasAllocator.h"
#include "ORQBasExport.h"
#include "ORQExcModel.h"
#include "ORQExcPoint.h"
#include "ORQObjDocument.h"

/// How much a finding matters: results are wrong or cannot be had; they may be wrong; good to know.
enum class ORQExcLevel { Error, Warning, Note };

/// "error", "warning" or "note".
ORQ_EXPORT const char* ORQExcLevelName(ORQExcLevel level);

/// What a check looks for, in words for an analyst. The texts outlive every check.
struct ORQExcRule {
    const char* id;  ///< for example "ELM001"; the letters are its group
    ORQExcLevel level;
    const char* title;    ///< what is found
    const char* meaning;  ///< what that says of the model
    const char* breaks;   ///< what goes wrong with it
    const char* mending;  ///< how to mend it
    /// Beyond which something is found; what it bounds is in limitOf.
    std::optional<double> limit = {};
    const char* limitOf = "";
    bool isByBlock = false;   ///< whether a block may have a limit of its own
    const char* source = "";  ///< of its formula
};

/// One thing that is wrong with a model, and where.
struct ORQExcFinding {
    enum class Place { Model, Node, Element };
    struct Label {
        int instance;  ///< place in ORQExcCheckResult::instances; -1 without a label
        int label;     ///< the ordinal instead where there is no label
        bool operator==(const Label&) const = default;
    };

    const char* rule;         ///< its identifier
    std::string object = {};  ///< what it is about, for example `block "skin"`; empty for the model
    std::string message;      ///< what is wrong, with the values
    Place place = Place::Model;
    std::vector<int> members = {};  ///< ordinals of nodes or elements, the worst first

    /// Set by the checker.
    ORQExcLevel level = ORQExcLevel::Error;
    std::vector<Label> labels = {};                      ///< of the members, in their order
    std::optional<std::array<double, 3>> position = {};  ///< of the first; an element's centroid
};

struct ORQExcCheckOptions {
    /// Identifiers of rules, or their groups. Nothing in `only` stands for all rules.
    std::vector<std::string> only = {};
    std::vector<std::string> skip = {};
    /// By rule, in place of its own; then by block and rule, of rules that are by block.
    std::map<std::string, double, std::less<>> limits = {};
    std::map<std::string, std::map<std::string, double, std::less<>>, std::less<>> blockLimits = {};
    /// Called with the part of the work that is done, from 0 to 1.
    std::function<void(double)> progress = {};
};

/// A model while it is checked. What several rules need is read once, when the first one asks.
class ORQ_EXPORT ORQExcCheckedModel {
  public:
    ORQExcCheckedModel(const ORQObjDocument& document, const ORQExcCheckOptions& options);
    ~ORQExcCheckedModel();

    const ORQObjDocument& Document() const { return m_document; }
    /// Throws ORQBasFailure (Damaged), like all that reads.
    const ORQExcModel& Model() const;
    /// Places of all nodes, with 0 for the third coordinate of a plane model. Empty without
    /// coordinates.
    std::span<const orq::exchange::Point> Points() const;
    /// Around all finite coordinates of nodes; the lower corner is above the upper one without any.
    struct Extent {
        orq::exchange::Point low;
        orq::exchange::Point high;
        bool hasAll;  ///< whether all coordinates are finite
    };
    const Extent& Box() const;
    /// Length of the diagonal of that box.
    double Diagonal() const;
    bool IsWanted(std::string_view rule) const;
    double Limit(const ORQExcRule& rule) const;
    double Limit(const ORQExcRule& rule, const std::string& block) const;
    /// Tells the progress of the run that finishes now, from 0 to 1. What the callback throws ends the
    /// check.
    void Tell(double done) const;

  private:
    ORQObjDocument m_document;
    const ORQExcCheckOptions& m_options;
    mutable std::unique_ptr<ORQExcModel> m_model;
    mutable ORQBasLargeVector<orq::exchange::Point> m_points;
    mutable std::optional<Extent> m_box;
};

/// Elements of one block that were read together.
struct ORQExcCheckedElements {
    const ORQExcModel::Block& block;
    std::span<const int> ordinals;
    std::span<const int> nodes;  ///< [elements][nodes of the shape]
    /// A well mixed number for each node; the sum of those of some nodes tells them from others.
    std::span<const std::uint64_t> hashes;
    std::span<const double> points;  ///< [elements][nodes of the shape][3]; zeros without places
    /// Lengths of the edges, straight between corners, [elements]. Not a number where a corner has
    /// no place, or the square of a length is no number.
    std::span<const double> shortestEdges;
    std::span<const double> longestEdges;
    /// The scaled Jacobian to nine digits, or not a number where it has to be found by itself.
    std::span<const double> roughJacobians;

    std::size_t NodesEach() const { return static_cast<std::size_t>(block.shape->nNodes); }
    std::span<const int> NodesOf(std::size_t element) const {
        return nodes.subspan(element * NodesEach(), NodesEach());
    }
    std::span<const std::uint64_t> HashesOf(std::size_t element) const {
        return hashes.subspan(element * NodesEach(), NodesEach());
    }
    std::span<const double> PointsOf(std::size_t element) const {
        return points.subspan(element * NodesEach() * 3, NodesEach() * 3);
    }
};

/// A check at work: sees the elements that can be read, block by block, then says what it found.
class ORQ_EXPORT ORQExcCheckRun {
  public:
    virtual ~ORQExcCheckRun() = default;
    /// Whether it wants to see the elements.
    virtual bool VisitsElements() const { return false; }
    /// Whether it would find what is not there when it did not see all of them. It does not finish
    /// then.
    virtual bool NeedsAllElements() const { return false; }
    virtual void Visit(const ORQExcCheckedElements& elements);
    /// What it finds stays found when this throws ORQBasFailure, which ends this check only.
    virtual void Finish(std::vector<ORQExcFinding>& findings) = 0;
};

/// A check of one rule or of a few that are found in one go.
struct ORQExcCheck {
    std::vector<ORQExcRule> rules;
    /// The model outlives what this makes.
    std::function<std::unique_ptr<ORQExcCheckRun>(const ORQExcCheckedModel&)> begin;
};

struct ORQExcCheckResult {
    /// Why a check, or a part of one, could not be made.
    struct Failure {
        std::string text;
        bool isBrokenInvariant;  ///< an assertion of the library; else the model cannot be read
    };
    std::vector<ORQExcFinding> findings;  ///< by check, in the order of the checker's rules
    std::vector<Failure> failures;
    std::vector<std::string> instances;
    /// Identifiers of the rules that were tried to the end: one of them without a finding is kept.
    std::vector<const char*> tried;
};

/// The rules that a model is checked by: those of the library, then those that a host adds.
class ORQ_EXPORT ORQExcChecker {
  public:
    ORQExcChecker();
    /// Throws Usage when there is a rule of an identifier already.
    void Add(ORQExcCheck check);
    std::vector<const ORQExcRule*> Rules() const;
    /// Throws Usage, naming what is near, when there is neither a rule nor a group of the name.
    void Require(const std::string& ruleOrGroup) const;

    /// Reads coordinates once, and connectivity once, some megabytes at a time. Holds the
    /// coordinates, some 16 bytes for each element and 150 more for each shell, and the findings.
    /// Throws Usage for options that name no rule, a limit that a rule does not have, or no block.
    ORQExcCheckResult Run(const ORQObjDocument& document,
                          const ORQExcCheckOptions& options = {}) const;

  private:
    void RequireLimit(const std::string& rule, bool isOfBlock) const;

    std::vector<ORQExcCheck> m_checks;
};
