#include "ImportBytes.h"
#include "ORQExcLayupFile.h"
#include "SmallMesh.h"
#include "formats/gmsh/GmshReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const MemoryFile mesh(reinterpret_cast<const std::uint8_t*>(kSmallMesh.data()),
                          kSmallMesh.size());
    const MemoryFile layup(bytes, size);
    try {
        const ORQExcLayupFile file(layup.Path());
        const orq::exchange::MeshImporter importer(
            std::make_unique<orq::exchange::GmshReader>(mesh.Path()), mesh.Path());
        importer.Write(ORQSimDatabase::CreateInMemory(), {100000, [](double) {}, &file});
    } catch (const ORQExcImportError&) {
    } catch (const ORQBasFailure&) {
    }
    return 0;
}
