// Sets an analysis up on the wing box as it was imported:
//
//   orqmodel import examples/wing_box/wing_box.e -o wing_box.orq
//       --layup examples/wing_box/wing_box_layup.json
//   wing_box_analysis wing_box.orq
//   orqmodel check wing_box.orq
#include <iostream>

#include "ORQBasFailure.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "WingBoxAnalysis.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: wing_box_analysis NAME.orq\n";
        return 2;
    }
    try {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(argv[1], ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        wing_box::AddAnalysis(database);
        transaction.Commit();
        return 0;
    } catch (const ORQBasFailure& failure) {
        std::cerr << "wing_box_analysis: " << failure.Text() << '\n';
        return 1;
    }
}
