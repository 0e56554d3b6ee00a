// Marks the symbols that the shared library exports; all others have hidden visibility.
#pragma once

#define ZQM_EXPORT __attribute__((visibility("default")))
