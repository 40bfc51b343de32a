#include <qzlogger.h>

#include "@PRIVATE_HEADER@"

int main()
{
    return 0;
}
