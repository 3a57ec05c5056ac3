// A planted breach: the bottom layer reaching up into a kernel family.
#include "codecs/hex.h"
