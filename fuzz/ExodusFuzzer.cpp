#include "ImportBytes.h"
#include "formats/exodus/ExodusReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orq::exchange::ExodusReader>(bytes, size);
    return 0;
}
