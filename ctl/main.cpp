// flintrowctl: controls the update service from the command line.

#include <clocale>
#include <iostream>

#include "ctl/commands.h"
#include "ctl/exit_code.h"
#include "ctl/options.h"

namespace {

int tell(ctl::Exit exit, const char* message)
{
    std::cout.flush();
    std::cerr << "flintrowctl: " << message << std::endl;
    return static_cast<int>(exit);
}

} // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_CTYPE, "");
    try {
        int status = 0;
        const auto options = ctl::parse_options(argc, argv, status);
        if (!options) {
            return status;
        }
        ctl::run(*options);
        std::cout.flush();
        return std::cout.good() ? 0 : tell(ctl::Exit::failed, "standard output cannot be written");
    } catch (const ctl::Error& error) {
        return tell(error.exit(), error.what());
    } catch (const std::exception& error) {
        return tell(ctl::Exit::failed, error.what());
    }
}
