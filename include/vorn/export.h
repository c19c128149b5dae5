#pragma once

/// Marks a symbol that libvorn.so exports. Every other symbol of the library is hidden.
#define VORN_API __attribute__((visibility("default")))
