// A planted breach: an include cycle.
#include "codecs/hex/b.h"
