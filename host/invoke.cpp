#include "invoke.h"

#include <algorithm>
#include <cstring>
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

// For a macOS library a boolean argument travels widened to 32 bits: Apple's
// arm64 convention (and clang on x86-64) lets the callee rely on the caller
// having extended it, which the other platforms' conventions do not ask of a
// caller. The callee reads the same low byte either way; other libraries are
// called through their exact type.
template <class T> struct Passed { using type = T; };
template <> struct Passed<RBBoolean> { using type = int32_t; };

template <class Signature> struct Invoker;
template <class R, class... A>
struct Invoker<R(A...)> {
  template <size_t... I>
  static Value apply(REALproc f, const std::vector<Value> &args, bool widened, std::index_sequence<I...>) {
    if (widened) {
      auto fn = reinterpret_cast<R (*)(typename Passed<A>::type...)>(f);
      return Value(fn(static_cast<typename Passed<A>::type>(std::get<A>(args[I]))...));
    }
    auto fn = reinterpret_cast<R (*)(A...)>(f);
    return Value(fn(std::get<A>(args[I])...));
  }
  static Value call(REALproc f, const std::vector<Value> &args, bool widened) {
    return apply(f, args, widened, std::index_sequence_for<A...>{});
  }
  static std::string params() { return std::string{kind_of<A>()...}; }
  static constexpr char result() { return kind_of<R>(); }
};

}  // namespace

std::string MethodInfo::name() const {
  const std::string d = declaration;
  return d.substr(0, d.find('('));
}

std::vector<std::string> MethodInfo::defaults() const {
  const std::string d = declaration;
  const std::string list = d.substr(d.find('(') + 1, d.rfind(')') - d.find('(') - 1);
  std::vector<std::string> out;
  size_t start = 0;
  while (start <= list.size() && !list.empty()) {
    const size_t comma = std::min(list.find(',', start), list.size());
    const std::string param = list.substr(start, comma - start);
    const size_t eq = param.find('=');
    std::string value = eq == std::string::npos ? "" : param.substr(eq + 1);
    value.erase(0, value.find_first_not_of(' '));
    value.erase(value.find_last_not_of(' ') + 1);
    out.push_back(value);
    start = comma + 1;
  }
  return out;
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
  // Compared without measuring each row's text first: this runs on every call.
  for (const MethodInfo &m : methods()) {
    if (std::strncmp(m.declaration, declaration.data(), declaration.size()) == 0 &&
        m.declaration[declaration.size()] == '\0') {
      return &m;
    }
  }
  return nullptr;
}

const MethodInfo *find_method(std::string_view name, size_t arity) {
  for (const MethodInfo &m : methods()) {
    if (m.name() == name && m.params.size() == arity) return &m;
  }
  for (const MethodInfo &m : methods()) {
    if (m.name() != name || m.params.size() < arity) continue;
    const std::vector<std::string> d = m.defaults();
    if (std::all_of(d.begin() + static_cast<long>(arity), d.end(), [](const std::string &v) { return !v.empty(); })) {
      return &m;
    }
  }
  return nullptr;
}

}  // namespace subhost
