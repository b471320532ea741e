#pragma once

#include "ORQExcPoint.h"

namespace orqmodel {

// Places and directions as the standard model has them. Named one by one: operators of this
// namespace would hide those of a whole namespace.
using orq::exchange::Cross;
using orq::exchange::Dot;
using orq::exchange::Length;
using orq::exchange::Normalized;
using orq::exchange::Point;
using orq::exchange::operator+;
using orq::exchange::operator-;
using orq::exchange::operator*;

}  // namespace orqmodel
