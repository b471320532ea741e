#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orq::exchange {

/// The constants of a kind of material, for example "MAT8"; the kinds are those of bulk data.
struct MaterialKind {
    struct Constant {
        std::string property;  ///< of the material, for example "elastic"
        std::string name;      ///< of the component, for example "E1"; unique in the kind
    };
    std::vector<Constant> constants;
    bool dependsOnTemperature = true;
    std::string_view integer = {};  ///< the component that is an integer; empty: none
};

/// Null when there is none of the name.
const MaterialKind* FindMaterialKind(std::string_view name);

}  // namespace orq::exchange
