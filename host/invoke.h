// Typed invokers for the registry's rows: each calls a REALproc as the C
// function type its row states, so that arguments reach a handler in exactly
// the registers and widths Xojo would use.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "subhost.h"

namespace subhost {

// Parameter and result kinds, one letter each: S string, M memoryblock,
// I integer, D double, B boolean.
struct MethodInfo {
  int row;
  const char *handler;
  const char *declaration;
  std::string params;
  char result;
  // `widened`: booleans travel widened to 32 bits (the library's convention).
  Value (*invoke)(REALproc, const std::vector<Value> &, bool widened);

  // The method's name as Xojo code calls it (the declaration up to "(").
  std::string name() const;
  // Each parameter's default as written in the declaration ("" for none).
  std::vector<std::string> defaults() const;
};

const std::vector<MethodInfo> &methods();
const MethodInfo *find_method(std::string_view declaration);
// The row of `name` taking `arity` arguments, or one whose parameters past
// `arity` all have defaults; null when there is none.
const MethodInfo *find_method(std::string_view name, size_t arity);

}  // namespace subhost
