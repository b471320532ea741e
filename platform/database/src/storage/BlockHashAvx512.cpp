#include "BlockHashKernel.h"

namespace orq::storage {

constexpr BlockHashes kAvx512BlockHashes = {HashOf, CopyAndHashOf};

}  // namespace orq::storage
