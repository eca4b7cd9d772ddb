#include "commandLine.h"

int main(int argc, char** argv) {
    return kelpolicy::runCommandLine(argc, argv);
}
