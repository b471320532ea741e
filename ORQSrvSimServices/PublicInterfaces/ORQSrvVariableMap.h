#pragma once

#include "ORQBasExport.h"

/// One occurrence of an output variable, or of a component of one, in the fields of a model.
struct ORQSrvVariableStruct {
    const char* label;       // as the user knows it; null only in the terminator
    int component;           // ads_ComponentSymbolsEnm
    const char* identifier;  // of the variable that the label belongs to
    int fragmentType;        // type index of the field that holds it
};

/// The table of all output variables: 6,574 records and a terminator (label null, component 38,
/// identifier "UNDEFINED"), complete before main begins and the same in every process.
///
/// The records stand side by side. A label has one record for each field type of its variable; the
/// record of a whole variable comes before those of its components and invariants. For example:
///
///   {"MISES", 38, "S", (16, 9)}  {"MISES", 38, "S", (16, 11)}  ...
///   {"S12", 5, "S", (16, 9)}     {"S12", 9, "S", (16, 9)}      ...
class ORQ_EXPORT ORQSrvVariableMap {
  public:
    ORQSrvVariableMap() = delete;

    /// REQUIRES: 0 <= i <= 6574, the terminator; not checked. Lives as long as the process.
    static const ORQSrvVariableStruct& GetEntry(int i);
};
