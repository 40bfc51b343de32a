#include "Commands.h"

namespace qzcli {

namespace {

const Command kCommands[] = {
    {"ls", "ls [TYPE]", "every identification with its type, time range, files, items and bytes",
     "\nOne line per identification of the store, family by family: its logger type and data type,\n"
     "its interval in seconds (- where it has none), the first and the last time of its range as\n"
     "the read API gives it, its files as catalogued, the whole items they hold and their bytes on\n"
     "the card. The operator log, which has no identification, shows as -. TYPE keeps one\n"
     "family: cyclic, event, pqevent, disturb or operator.\n"
     "Times are ISO 8601 in UTC with nanoseconds.\n",
     runList},
};

} // namespace

const Command* commands(int& count)
{
    count = static_cast<int>(sizeof(kCommands) / sizeof(kCommands[0]));
    return kCommands;
}

} // namespace qzcli
