#include "codecs/mysql.h"

#include "frame/byte_transform.h"
#include "frame/registry.h"

REALstring DecodingFromMySQL(REALstring s) { return ztk::ShrinkBytes(s, ztk::mysql::unescape); }
