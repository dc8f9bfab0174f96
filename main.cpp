#include "entry/EntryRoutine.h"

int main(int argc, char* argv[])
{
    return QuillmontMain(argc, argv);
}
