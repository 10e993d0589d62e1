#pragma once

/// Marks what a shared library of this project offers to others: everything is compiled with hidden
/// visibility. Exceptions and interfaces that cross a dlopen boundary must carry it, or a catch clause on the
/// other side misses.
#define ZEL_API __attribute__((visibility("default")))
