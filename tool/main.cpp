#include "tool/command_line.h"
#include "tool/stop_signal.h"

int main(int argc, char** argv) {
    tintwell::tool::catchStopSignals();
    return tintwell::tool::CommandLine().run(argc, argv);
}
