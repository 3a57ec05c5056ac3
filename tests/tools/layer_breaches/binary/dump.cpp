// A planted breach: one subsystem reaching into another.
#include "codecs/hex.h"
