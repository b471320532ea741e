#pragma once

#include "ORQBasMap.h"

/// The ordered map under the name that the services' caches use.
template <class K, class V>
using omi_Btree = ORQBasMap<K, V>;
