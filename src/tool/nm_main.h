// The symbol display tool: the command line, the run over the files, and the
// listing of one object file.
#pragma once

int nmMain(int argc, char **argv);
