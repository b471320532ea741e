// Writes the sample mesh and its layup:
//
//     wing_box_generator examples/wing_box/wing_box.e examples/wing_box/wing_box_layup.json

#include <exception>
#include <iostream>

#include "WingBox.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: wing_box_generator OUTPUT.e LAYUP.json\n";
        return 2;
    }
    try {
        const wing_box::Mesh mesh = wing_box::Build();
        wing_box::Write(mesh, argv[1]);
        wing_box::WriteLayup(mesh, argv[2]);
    } catch (const std::exception& error) {
        std::cerr << "wing_box_generator: " << error.what() << '\n';
        return 3;
    }
    return 0;
}
