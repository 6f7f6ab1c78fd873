// main() of the tests of hardware access: all of them run on a simulated board.
#include <gmock/gmock.h>

#include "support/OnBoard.h"

int main(int argc, char** argv)
{
    const char* description = std::getenv("KIV_TEST_BOARD_INI");
    moveOntoBoard(KIV_BOARD, {"--config", description != nullptr ? description : KIV_BOARD_INI}, argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
