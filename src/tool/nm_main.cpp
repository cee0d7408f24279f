#include "tool/nm_main.h"

// Placeholder until the command line lands.
int nmMain(int, char **) { return 0; }
