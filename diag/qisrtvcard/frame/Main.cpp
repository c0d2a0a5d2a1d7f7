#include "frame/Entry.h"

int main(int argc, char** argv) { return qisrtvcard::moduleMain(argc, argv); }
