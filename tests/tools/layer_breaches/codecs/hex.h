// A planted breach: a kernel family header carrying host types.
#include "frame/rb_types.h"
