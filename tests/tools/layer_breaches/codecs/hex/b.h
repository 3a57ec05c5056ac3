#include "codecs/hex/a.h"
