// Marks what the shared library exports; everything else has hidden visibility.
#pragma once

#define ZQM_EXPORT __attribute__((visibility("default")))
