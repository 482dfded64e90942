// The usage text.
#ifndef FRONTEND_USAGE_H
#define FRONTEND_USAGE_H

// Prints the usage text to standard output, under the name that the program was called by.
void PrintUsage(const char *program);

#endif
