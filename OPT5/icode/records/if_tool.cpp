#include "OPT5/icode/records/if_tool.h"

#include <cstdio>
#include <sys/stat.h>

bool if_load_file(const std::string &name, std::string &bytes) {
    bytes.clear();
    std::FILE *file = name == "-" ? stdin : std::fopen(name.c_str(), "rb");
    if (!file) return false;
    char buffer[65536];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, file))
        bytes.append(buffer, n);
    bool good = !std::ferror(file);
    if (file != stdin) std::fclose(file);
    return good;
}

void if_drop_file(const std::string &name) {
    struct stat status;
    if (name != "-" && stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        std::remove(name.c_str());
}

bool if_save_file(const std::string &name, std::string_view bytes) {
    std::FILE *file = name == "-" ? stdout : std::fopen(name.c_str(), "wb");
    if (!file) return false;
    bool good = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    good = std::fflush(file) == 0 && good;
    if (file != stdout) {
        good = std::fclose(file) == 0 && good;
        if (!good) if_drop_file(name);
    }
    return good;
}
