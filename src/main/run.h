#ifndef RUN_H
#define RUN_H

// One whole run of Zerlan on a command line; returns the exit status.
int run_zerlan(int argc, char** argv);

#endif
