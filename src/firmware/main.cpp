#include "firmware/startup.h"

int main(int argc, char** argv) {
    return firmware_start(argc, argv);
}
