#include "invoke.h"

#include <utility>

#include "frame/registry.h"

namespace subhost {
namespace {

template <class T> constexpr char kind_of();
template <> constexpr char kind_of<REALstring>() { return 'S'; }
template <> constexpr char kind_of<REALobject>() { return 'M'; }
template <> constexpr char kind_of<RBInteger>() { return 'I'; }
template <> constexpr char kind_of<double>() { return 'D'; }
template <> constexpr char kind_of<RBBoolean>() { return 'B'; }

template <class Signature> struct Invoker;
template <class R, class... A>
struct Invoker<R(A...)> {
  template <size_t... I>
  static Value apply(REALproc f, const std::vector<Value> &args, std::index_sequence<I...>) {
    auto fn = reinterpret_cast<R (*)(A...)>(f);
    return Value(fn(std::get<A>(args[I])...));
  }
  static Value call(REALproc f, const std::vector<Value> &args) {
    return apply(f, args, std::index_sequence_for<A...>{});
  }
  static std::string params() { return std::string{kind_of<A>()...}; }
  static constexpr char result() { return kind_of<R>(); }
};

}  // namespace

std::string MethodInfo::name() const {
  const std::string d = declaration;
  return d.substr(0, d.find('('));
}

const std::vector<MethodInfo> &methods() {
  static const std::vector<MethodInfo> table = {
#define ZTK_METHOD(row, handler, decl, signature)                                                    \
  {row, #handler, decl, Invoker<ztk::sig::handler##_t>::params(), Invoker<ztk::sig::handler##_t>::result(), \
   &Invoker<ztk::sig::handler##_t>::call},
#include "frame/methods.def"
#undef ZTK_METHOD
  };
  return table;
}

const MethodInfo *find_method(std::string_view declaration) {
  for (const MethodInfo &m : methods()) {
    if (declaration == m.declaration) return &m;
  }
  return nullptr;
}

const MethodInfo *find_method(std::string_view name, size_t arity) {
  for (const MethodInfo &m : methods()) {
    if (m.name() == name && m.params.size() == arity) return &m;
  }
  return nullptr;
}

}  // namespace subhost
