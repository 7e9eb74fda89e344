#include "app/WingbellControlApp.h"

int main(int /*argc*/, char* argv[])
{
    return wingbell::WingbellControlApp::run(argv[0]);
}
