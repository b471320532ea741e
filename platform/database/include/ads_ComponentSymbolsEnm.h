#pragma once

/// The components of vectors and tensors. Values are stored, do not change.
///
/// A component of a symmetric tensor off its diagonal has two symbols, one for each order of its
/// directions (12 and 21), under one label; those of other tensors have symbols of their own.
enum ads_ComponentSymbolsEnm : int {
    ads_Component1 = 0,
    ads_Component11 = 1,
    ads_Component12 = 5,
    ads_Component12Transposed = 9,
    ads_Component13 = 10,
    ads_Component13Transposed = 11,
    ads_Component2 = 12,
    ads_Component21 = 13,
    ads_Component22 = 14,
    ads_Component23 = 18,
    ads_Component23Transposed = 19,
    ads_Component3 = 20,
    ads_Component31 = 21,
    ads_Component32 = 22,
    ads_Component33 = 23,
    ads_ComponentPrincipal1 = 24,
    ads_ComponentPrincipal2 = 25,
    ads_ComponentPrincipal3 = 26,
    ads_ComponentOrientation0 = 27,
    ads_ComponentOrientation1 = 28,
    ads_ComponentOrientation2 = 29,
    ads_ComponentOrientation3 = 30,
    ads_ComponentRotation1 = 31,
    ads_ComponentRotation2 = 32,
    ads_ComponentRotation3 = 33,
    ads_ComponentTensorPrincipal1 = 35,
    ads_ComponentTensorPrincipal2 = 36,
    ads_ComponentTensorPrincipal3 = 37,
    ads_ComponentNone = 38  // the whole variable
};
