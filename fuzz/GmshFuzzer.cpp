#include "ImportBytes.h"
#include "formats/gmsh/GmshReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orq::exchange::GmshReader>(bytes, size);
    return 0;
}
