#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct VerifyOptions {
    std::string database;
    bool json = false;
};

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

/// Compares every checksum of a model database and follows every reference; prints what is wrong,
/// one line each. ExitStatus::Unreadable when anything is. Throws ORQBasFailure for what is no
/// model database or cannot be opened for another reason than damage.
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
        if (findings.empty() && console.IsQuiet()) {
            return ExitStatus::Done;
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

}  // namespace

SubcommandRun DeclareVerify(CLI::App& command) {
    const auto options = std::make_shared<VerifyOptions>();
    AddDatabase(command, options->database);
    AddJson(command, options->json);
    return Running(options, RunVerify);
}

}  // namespace orqmodel
