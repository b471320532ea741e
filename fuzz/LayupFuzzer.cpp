#include "ImportBytes.h"
#include "SmallMesh.h"
#include "import/GmshReader.h"
#include "import/LayupFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const MemoryFile mesh(reinterpret_cast<const std::uint8_t*>(kSmallMesh.data()),
                          kSmallMesh.size());
    const MemoryFile layup(bytes, size);
    try {
        const orqmodel::LayupFile file(layup.Path());
        const orqmodel::MeshImporter importer(std::make_unique<orqmodel::GmshReader>(mesh.Path()));
        importer.Write(ORQSimDatabase::CreateInMemory(), {100000, [](double) {}, &file});
    } catch (const orqmodel::ImportError&) {
    } catch (const ORQBasFailure&) {
    }
    return 0;
}
