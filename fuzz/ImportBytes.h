#pragma once

#include <memory>

#include "MemoryFile.h"
#include "ORQBasFailure.h"
#include "ORQExcImportError.h"
#include "ORQSimDatabase.h"
#include "formats/MeshImporter.h"

/// Imports the bytes as a file of a format. What is wrong with them may be told by the two kinds of
/// error that an importer has, and by nothing else.
template <class Reader>
void ImportBytes(const std::uint8_t* bytes, std::size_t size) {
    const MemoryFile file(bytes, size);
    try {
        const orq::exchange::MeshImporter importer(std::make_unique<Reader>(file.Path()),
                                                   file.Path());
        importer.Write(ORQSimDatabase::CreateInMemory(), {100000, [](double) {}});
    } catch (const ORQExcImportError&) {
    } catch (const ORQBasFailure&) {
    }
}
