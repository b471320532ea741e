#include "ORQBasAssertException.h"
#include "ORQBasFailure.h"
#include "ORQExcCheck.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvHPVizChecker.h"
#include "check/Checks.h"
#include "check/DisplayRules.h"
#include "model/ReadableSection.h"

namespace orq::exchange {
namespace {

/// What would keep the model from being displayed or post-processed.
class DisplayRun : public ORQExcCheckRun {
  public:
    explicit DisplayRun(const ORQExcCheckedModel& model) : m_document(model.Document()) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        ORQSrvHPVizChecker checker(m_document);
        try {
            Check(checker);
        } catch (...) {
            Add(checker, findings);
            throw;
        }
        Add(checker, findings);
    }

  private:
    static void Add(const ORQSrvHPVizChecker& checker, std::vector<ORQExcFinding>& findings) {
        for (const ORQString& message : checker.Messages()) {
            const std::string text = message.UTF8();
            findings.push_back({.rule = DisplayRuleOf(text).id, .message = text});
        }
    }

    /// An exception that concerns a section's layers says which section.
    void Check(ORQSrvHPVizChecker& checker) const {
        try {
            checker.Check_HPViz();
        } catch (const ORQBasAssertException&) {
            ThrowUnreadableSection();
        } catch (const ORQBasFailure& failure) {
            if (failure.Kind() != ORQBasFailureKind::Usage) {
                throw;
            }
            ThrowUnreadableSection();
        }
    }

    /// Names the section that its reader refuses. Called in a handler.
    [[noreturn]] void ThrowUnreadableSection() const {
        using namespace ORQSimSchema;
        const ORQSimVector assignments = m_document.GetModel().GetVector(Model_sectionAssignments);
        for (auto i = assignments.Begin(); i.NotDone(); ++i) {
            const ORQSimPosition section = (*i).GetPosition(SectionAssignment_section);
            if (section.IsA(Section_Shell)) {
                ReadableSection(section);
            }
        }
        throw;  // the checker's exception as it is
    }

    ORQObjDocument m_document;
};

}  // namespace

ORQExcCheck DisplayCheck() {
    return {DisplayRules(), BeginRun<DisplayRun>};
}

}  // namespace orq::exchange
