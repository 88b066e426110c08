#include "app/Entry.h"

int main(int argc, char** argv) { return static_cast<int>(zel::runEntry(argc, argv)); }
