#include "app/WingbellControlApp.h"

int main(int /*argc*/, char* argv[])
{
    return wingbell::runWindow(argv[0]);
}
