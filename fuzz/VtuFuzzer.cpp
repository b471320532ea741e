#include "ImportBytes.h"
#include "formats/vtk/VtuReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orq::exchange::VtuReader>(bytes, size);
    return 0;
}
