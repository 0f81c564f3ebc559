// vxplay: plays the show in the archive appended to the program or beside it.
// No command line: the show is configured by its content alone.
#include "shell/Shell.h"

int main() { return RunPlayer(); }
