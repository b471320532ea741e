#include "commands/RunTellingDamage.h"

#include <fmt/format.h>

#include <new>
#include <string_view>

#include "ORQBasFailure.h"
#include "ORQSimDatabase.h"
#include "terminal/Console.h"
#include "terminal/InterruptGuard.h"

namespace orqmodel {
namespace {

/// The first finding; empty where there is none.
std::string DamageOf(const std::string& database) {
    try {
        const auto findings =
            ORQSimDatabase::Open(database, ORQSimDatabase::Mode::ReadOnly).Verify();
        return findings.empty() ? "" : findings.front();
    } catch (const ORQBasFailure& failure) {
        return failure.Kind() == ORQBasFailureKind::Damaged ? failure.Text() : "";
    }
}

void ThrowIfDamaged(const std::vector<std::string>& databases, const std::string& what) {
    for (const std::string& database : databases) {
        if (const std::string damage = DamageOf(database); !damage.empty()) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                fmt::format("{}: is damaged: {} (orqmodel verify tells all of it; "
                                            "what was met: {})",
                                            database, damage, what));
        }
    }
}

/// Whether the program itself found fault with how it is used; it does so before a library can.
bool IsOfProgram(const ORQBasFailure& failure) {
    const std::string_view file = failure.GetFile() != nullptr ? failure.GetFile() : "";
    return file.find("tools/orqmodel") != std::string_view::npos;
}

}  // namespace

void RunTellingDamage(const std::vector<std::string>& databases, const std::function<void()>& run) {
    try {
        run();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() == ORQBasFailureKind::Usage && !IsOfProgram(failure)) {
            ThrowIfDamaged(databases, failure.Text());
        }
        throw;
    } catch (ORQBasException& exception) {
        ThrowIfDamaged(databases, exception.DeveloperReport(ORQBasStringMode::Unicode).c_str());
        throw;
    } catch (const std::bad_alloc&) {
        // Lack of memory says nothing about the database, and verifying needs memory, too.
        throw;
    } catch (const std::exception& exception) {
        ThrowIfDamaged(databases, exception.what());
        throw;
    }
}

}  // namespace orqmodel
