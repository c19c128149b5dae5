#pragma once

/// Marks a symbol that libvorn.so exports; everything else in the library is hidden.
#define VORN_API __attribute__((visibility("default")))
