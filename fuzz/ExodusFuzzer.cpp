#include "ImportBytes.h"
#include "import/ExodusReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orqmodel::ExodusReader>(bytes, size);
    return 0;
}
