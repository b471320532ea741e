// Writes the sample mesh:
//
//     wing_box_generator examples/wing_box/wing_box.e

#include <exception>
#include <iostream>

#include "WingBox.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: wing_box_generator OUTPUT.e\n";
        return 2;
    }
    try {
        wing_box::Write(wing_box::Build(), argv[1]);
    } catch (const std::exception& error) {
        std::cerr << "wing_box_generator: " << error.what() << '\n';
        return 3;
    }
    return 0;
}
