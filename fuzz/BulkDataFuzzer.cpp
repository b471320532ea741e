#include "ImportBytes.h"
#include "formats/nastran/NastranReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orq::exchange::NastranReader>(bytes, size);
    return 0;
}
