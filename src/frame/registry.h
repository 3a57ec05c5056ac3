// Typed views of the method registry (methods.def). Each row's C signature is
// written once there; from it come the handler declarations below, the method
// table in plugin_main.cpp, and the host's typed invokers.
#pragma once

#include <cstddef>

#include "frame/rb_types.h"

namespace ztk::sig {
using S = REALstring;
using M = REALmemoryBlock;
using I = RBInteger;
using D = double;
using B = RBBoolean;
}  // namespace ztk::sig

// Handler declarations: `HandlerType Name;` declares a function of that type.
namespace ztk::sig {
#define ZTK_METHOD(row, handler, decl, signature) using handler##_t = signature;
#include "frame/methods.def"
#undef ZTK_METHOD
}  // namespace ztk::sig

#define ZTK_METHOD(row, handler, decl, signature) ztk::sig::handler##_t handler;
#include "frame/methods.def"
#undef ZTK_METHOD

namespace ztk {
constexpr size_t kMethodCount = 0
#define ZTK_METHOD(row, handler, decl, signature) +1
#include "frame/methods.def"
#undef ZTK_METHOD
    ;
}  // namespace ztk
