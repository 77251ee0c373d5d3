#ifndef MAIN_RUN_H
#define MAIN_RUN_H

// One whole run of Zerlan on a command line; returns the exit status.
int run_zerlan(int argc, char** argv);

#endif
