// thermfn: inspects a thermodynamic database and evaluates its phases.
#include <iostream>
#include <string>
#include <vector>

#include "cli/Commands.h"

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    return thermfn::run(args, std::cout, std::cerr);
}
