// Reads the update image named on the command line in full; its time and memory are measured from outside.

#include "service/hex_parser.h"

int main(int argc, char** argv)
{
    qv::can_bus::flr::HexParser parser;
    return argc == 2 && parser.parse(argv[1], false) == 0 ? 0 : 1;
}
