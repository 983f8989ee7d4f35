#include "ssdp/output_line.h"

#include "ssdp/concat.h"

#include <iostream>

namespace ssdp {

void WriteFault(std::initializer_list<std::string_view> pieces)
{
    std::string line = Concat(pieces);
    line += '\n';
    std::cerr.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

void WriteProgress(std::initializer_list<std::string_view> pieces)
{
    std::string line = Concat(pieces);
    line += '\n';
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

} // namespace ssdp
