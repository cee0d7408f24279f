#include "tool/nm_main.h"

int main(int argc, char **argv) { return nmMain(argc, argv); }
