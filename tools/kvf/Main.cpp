#include <tools/kvf/Commands.h>

int main(int in_argc, char** in_argv)
{
    return Skelvar::Tool::runTool(in_argc, in_argv);
}
