// Writes a bar to run heat_conduction on:
//
//     heat_conduction_bar bar.orq --cells 40 --shape TET4

#include <CLI/CLI.hpp>
#include <iostream>

#include "BarModel.h"
#include "HeatModel.h"
#include "ORQBasFailure.h"

int main(int argc, char** argv) {
    heat::Bar bar;
    std::string path;
    CLI::App app("Writes a bar of solid elements as a new model database");
    app.add_option("DATABASE", path, "The model database to make")->required();
    app.add_option("--cells", bar.cells, "Cells along the bar")->capture_default_str();
    app.add_option("--cells-across", bar.cellsAcross, "Cells along each edge of its cross-section")
        ->capture_default_str();
    app.add_option("--shape", bar.shape, "HEX8, TET4 or WEDGE6")->capture_default_str();
    app.add_option("--length", bar.length, "Its length")->capture_default_str();
    app.add_option("--width", bar.width, "The edges of its cross-section")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        heat::WriteBar(bar, path);
    } catch (const heat::HeatError& error) {
        std::cerr << "heat_conduction_bar: " << error.what() << '\n';
        return 2;
    } catch (const ORQBasFailure& failure) {
        std::cerr << "heat_conduction_bar: " << failure.Text() << '\n';
        return 3;
    }
    return 0;
}
