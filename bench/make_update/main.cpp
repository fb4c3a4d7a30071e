#include "bench/make_update/checker.h"
#include "bench/make_update/options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

int make(bench::update::Options& options)
{
    std::string problem;
    auto program = bench::update::read_program(options.input, options.base, problem);
    if (!program) {
        std::cerr << problem << '\n';
        return 1;
    }
    options.update.program = std::move(*program);
    std::stringstream text(write_update(options.update));
    std::ostream nowhere(nullptr);
    if (!bench::update::Checker(options.output, std::cerr).check(text, nowhere)) {
        std::fprintf(stderr, "make_update: %s would be wrong and is not written\n", options.output.c_str());
        return 1;
    }
    std::ofstream file(options.output, std::ios::binary);
    file << text.str();
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
        return bench::update::Checker(options->check, std::cerr).check(std::cout) ? 0 : 1;
    }
    return make(*options);
}
