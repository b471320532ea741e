#include "commands/VerifyCommand.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimDatabase.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

// Damage that keeps the database from being opened or read through is a finding like the others.
std::vector<std::string> FindDamage(const std::string& path, const Console& console) {
    try {
        ProgressBar bar(console, "verifying");
        return OpenModel(path).Verify([&](double done) { bar.Show(done); });
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Damaged) {
            throw;
        }
        return {failure.Text()};
    }
}

}  // namespace

ExitStatus RunVerify(const VerifyOptions& options, const Console& console) {
    const auto findings = FindDamage(options.database, console);
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "verify"},
                                {"path", options.database},
                                {"intact", findings.empty()},
                                {"findings", findings}});
    } else {
        for (const std::string& finding : findings) {
            console.out << ORQExcPrintable(finding) << '\n';
        }
        console.out << ORQExcPrintable(options.database) << ": ";
        if (findings.empty()) {
            console.out << "intact\n";
        } else {
            console.out << findings.size() << (findings.size() == 1 ? " finding\n" : " findings\n");
        }
    }
    return findings.empty() ? ExitStatus::Done : ExitStatus::Unreadable;
}

}  // namespace orqmodel
