// Raising a host exception: the plugin's only way of reporting a failure to
// the caller's code, used when memory for a result cannot be had.
#pragma once

#include <cstdint>

// Raises an exception of `className` (or "RuntimeException" when the host does
// not know that class) with `message` (may be null) and `errorNumber`.
// Silent when the host cannot create or raise exceptions.
void RaiseException(const char *className, const char *message, uint32_t errorNumber);
