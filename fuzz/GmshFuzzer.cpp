#include "ImportBytes.h"
#include "import/GmshReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orqmodel::GmshReader>(bytes, size);
    return 0;
}
