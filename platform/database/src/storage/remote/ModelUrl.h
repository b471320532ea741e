// The name of a model in a store: postgresql://USER@HOST/DB?model=NAME, with @GENERATION behind it
// for an earlier state, and with the parameter writers=many for one of several writers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orq::storage {

struct ModelUrl {
    std::string store;  // what the client library connects to, without the model
    std::string model;  // its name
    std::optional<std::int64_t> generation;
    bool isOneOfManyWriters = false;

    /// The URL as it was given; it holds no password.
    std::string Text() const;

    /// Whether a name is that of a model in a store, well-formed or not.
    static bool IsUrl(std::string_view name);
    /// Throws Usage for one that is not well-formed, and for one with a password, which is not
    /// repeated. A model has a name unless `mayBeStore`.
    static ModelUrl Parse(std::string_view text, bool mayBeStore = false);
};

}  // namespace orq::storage
