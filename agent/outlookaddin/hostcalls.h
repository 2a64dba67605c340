// What every call of a host collection needs.
#pragma once

#include "platform/com/comtypes.h"

// The argument of a collection's Item: a position counted from 1, as VT_I4.
inline VARIANT PositionVariant(LONG position) {
  VARIANT variant;
  VariantInit(&variant);
  variant.vt = VT_I4;
  variant.lVal = position;
  return variant;
}
