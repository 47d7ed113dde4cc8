#include "MacCacheManager/ProgramEntry.h"

int main(int argc, char** argv) {
    return corvid::runProgram(argc, argv);
}
