// The tnm program: all of the run lives in nmMain.
#include "tool/nm_main.h"

int main(int argc, char **argv) {
    return nmMain(argc, argv);
}
