#include "commands/CopyCommand.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {

ExitStatus RunCopy(const CopyOptions& options, const Console& console) {
    ORQExcStagedTarget target(options.output, options.force);
    const auto database = ORQSimDatabase::Open(options.database, ORQSimDatabase::Mode::ReadOnly);
    const InterruptGuard interrupts;
    {
        ProgressBar bar(console, "copying");
        database.CopyTo(target.Begin(), [&](double done) {
            interrupts.Check();
            bar.Show(done);
        });
    }
    interrupts.Check();
    target.PutIntoPlace();
    const std::int64_t state = database.Generation();
    const std::int64_t bulk = database.Sizes().bulk;
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "copy"},
                                {"path", options.database},
                                {"output", options.output.string()},
                                {"generation", state},
                                {"bulk_bytes", bulk}});
    } else {
        console.out << ORQExcPrintable(options.database) << " -> "
                    << ORQExcPrintable(options.output.string()) << '\n'
                    << fmt::format("copied: state {}, {} bytes of bulk data\n", state, bulk);
    }
    return ExitStatus::Done;
}

}  // namespace orqmodel
