#include <fmt/format.h>

#include <string>
#include <vector>

#include "ORQExcCheck.h"
#include "ORQSimDatabase.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kDamaged = {
    .id = "STO001",
    .level = ORQExcLevel::Error,
    .title = "damaged storage",
    .meaning = "a checksum of the database differs, or a reference in it leads nowhere",
    .breaks = "what is damaged cannot be read, or reads as something else",
    .mending = "orqmodel verify NAME.orq lists all flaws; orqmodel recover saves what is whole"};

/// Reads the whole database once, as much as the checks of results do.
class StorageRun : public ORQExcCheckRun {
  public:
    explicit StorageRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const std::vector<std::string> flaws =
            m_model.Document().Database().Verify([&](double done) { m_model.Tell(done); });
        if (!flaws.empty()) {
            findings.push_back(
                {.rule = kDamaged.id,
                 .message = fmt::format("{} {}; the first: {}", flaws.size(),
                                        flaws.size() == 1 ? "flaw" : "flaws", flaws[0])});
        }
    }

  private:
    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck StorageCheck() {
    return {{kDamaged}, BeginRun<StorageRun>};
}

}  // namespace orq::exchange
