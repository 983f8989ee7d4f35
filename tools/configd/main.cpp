#include "configd/program.h"

int main(int argc, char **argv)
{
    return configd::RunProgram(argc, argv);
}
