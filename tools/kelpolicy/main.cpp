#include <cstdio>

#include "commandLine.h"

int main(int argc, char** argv) try {
    return kelpolicy::runCommandLine(argc, argv);
} catch (...) {  // there was no memory to say so in more words
    std::fputs("kelpolicy: there is not enough memory\n", stderr);
    return kelpolicy::exitFailed;
}
