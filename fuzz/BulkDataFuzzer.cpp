#include "ImportBytes.h"
#include "import/BulkDataReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ImportBytes<orqmodel::BulkDataReader>(bytes, size);
    return 0;
}
