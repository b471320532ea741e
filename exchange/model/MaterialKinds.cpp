#include "model/MaterialKinds.h"

#include <initializer_list>
#include <map>
#include <sstream>
#include <utility>

namespace orq::exchange {
namespace {

/// Properties, each with the names of its components.
std::vector<MaterialKind::Constant> Constants(
    std::initializer_list<std::pair<const char*, const char*>> properties) {
    std::vector<MaterialKind::Constant> constants;
    for (const auto& [property, names] : properties) {
        std::istringstream words(names);
        for (std::string name; words >> name;) {
            constants.push_back({property, name});
        }
    }
    return constants;
}

}  // namespace

const MaterialKind* FindMaterialKind(std::string_view name) {
    static const std::map<std::string_view, MaterialKind> kinds = {
        {"MAT1",
         {Constants({{"elastic", "E G nu"},
                     {"density", "density"},
                     {"expansion", "alpha Tref"},
                     {"damping", "damping"},
                     {"strength", "St Sc Ss"},
                     {"axes", "system"}}),
          true, "system"}},
        {"MAT2",
         {Constants({{"elastic", "G11 G12 G13 G22 G23 G33"},
                     {"density", "density"},
                     {"expansion", "alpha1 alpha2 alpha3 Tref"},
                     {"damping", "damping"},
                     {"strength", "St Sc Ss"},
                     {"axes", "system"}}),
          true, "system"}},
        {"MAT3",
         {Constants({{"elastic", "Ex Eth Ez nuxth nuthz nuzx"},
                     {"density", "density"},
                     // Fields without a constant keep a name, since constants count the fields of
                     // the card.
                     {"unnamed", "field_12 field_13"},
                     {"elastic", "Gzx"},
                     {"expansion", "alphax alphath alphaz Tref"},
                     {"damping", "damping"}})}},
        {"MAT8",
         {Constants({{"elastic", "E1 E2 nu12 G12 G13 G23"},
                     {"density", "density"},
                     {"expansion", "alpha1 alpha2 Tref"},
                     {"strength", "Xt Xc Yt Yc S"},
                     {"damping", "damping"},
                     {"strength", "F12 strain"}})}},
        {"MAT9",
         {Constants({{"elastic",
                      "G11 G12 G13 G14 G15 G16 G22 G23 G24 G25 G26 G33 G34 G35 G36 G44 G45 G46 "
                      "G55 G56 G66"},
                     {"density", "density"},
                     {"expansion", "alpha1 alpha2 alpha3 alpha4 alpha5 alpha6 Tref"},
                     {"damping", "damping"}})}},
        {"MAT10",
         {Constants({{"acoustic", "bulk"},
                     {"density", "density"},
                     {"acoustic", "speed"},
                     {"damping", "damping"},
                     {"acoustic", "admittance"}}),
          false}},
        {"MAT11",
         {Constants({{"elastic", "E1 E2 E3 nu12 nu13 nu23 G12 G13 G23"},
                     {"density", "density"},
                     {"expansion", "alpha1 alpha2 alpha3 Tref"},
                     {"damping", "damping"}})}},
    };
    const auto found = kinds.find(name);
    return found == kinds.end() ? nullptr : &found->second;
}

}  // namespace orq::exchange
