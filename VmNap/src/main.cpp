#include "main.h"

int main(int argc, char** argv) { return RunTool(argc, argv); }
