/// What both parts of the writer of layers need. For its own sources.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

namespace orq::layers {

inline constexpr const char* s_source = ORQ_SRV_SOURCE("ORQSrvBulkShellLayers");

/// Makes room for the layers up to one.
inline void MakeRoom(ORQSimCollection& layers, int highest) {
    if (highest == std::numeric_limits<int>::max()) {
        ORQBasThrowUsage("there can be no layer " + std::to_string(highest));
    }
    layers.ExtendSpace(highest + 1);
}

/// Writes a view of one layer.
template <class T>
void Write(ORQSimTransfer& write, const std::vector<T>& values, const char* lengthCheck, int line) {
    write.CheckView();
    const std::int64_t len = write.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertThrown(static_cast<std::size_t>(len) == values.size() * sizeof(T), lengthCheck,
                       s_source, line);
    write.SetBuffer(ORQSimbufMain, values.data(), len);
    write.ExecWrite();
    write.RelinquishBuffers();
}

}  // namespace orq::layers
