// A host program that sees the installed headers and libraries only.

#include <ORQBasException.h>

#include <iostream>

extern "C" {
void ORQSrvBasic_initializeC();
void ORQSrvBasic_finalizeC();
}

int main() {
    try {
        ORQSrvBasic_initializeC();
        ORQSrvBasic_finalizeC();
    } catch (const ORQBasException& error) {
        std::cerr << "code " << error.GetCode() << '\n';
        return 1;
    }
    return 0;
}
