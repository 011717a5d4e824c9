// The C library's headers, compiled into the program by embed.cmake.
#pragma once

#include <vector>

struct embedded_header {
    const char *name;
    const char *text;
};
extern const std::vector<embedded_header> embedded_headers;
