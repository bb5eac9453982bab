#include <cstdio>

int main()
{
    std::printf("Beamora Launcher 0.10\n");
    return 0;
}
