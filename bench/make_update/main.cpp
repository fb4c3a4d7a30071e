#include "bench/make_update/checker.h"
#include "bench/make_update/options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

namespace {

int make(bench::update::Options& options)
{
    std::string problem;
    auto program = bench::update::read_program(options.input, options.base, problem);
    if (!program) {
        std::cerr << problem << '\n';
        return 1;
    }
    std::uint32_t address = 0;
    if (!bench::update::sectors_hold(options.update.sectors, *program, address)) {
        std::fprintf(stderr, "make_update: the program has data at 0x%08x, outside of every sector\n", address);
        return 1;
    }
    options.update.program = std::move(*program);
    std::ofstream file(options.output, std::ios::binary);
    file << bench::update::write_update(options.update);
    file.close();
    if (!file) {
        std::fprintf(stderr, "make_update: cannot write %s: %s\n", options.output.c_str(), std::strerror(errno));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    int exit_status = 0;
    auto options = bench::update::parse_options(argc, argv, exit_status);
    if (!options) {
        return exit_status;
    }
    if (!options->check.empty()) {
        return bench::update::Checker().check(options->check, std::cout, std::cerr) ? 0 : 1;
    }
    return make(*options);
}
