#include "Commands.h"

namespace qzcli {

namespace {

const Command kCommands[] = {
    {"info", "info", "the store at a glance: its places and sizes, its writer, and each family",
     "\nWhere the store is: the card, the catalogue with its bytes, the data folder with its files\n"
     "and bytes, and the card's size and free space. For the live store also the writer that the\n"
     "process-id file names and the logger state that the writer posts, with whether the store\n"
     "is readable. Then one line for each family of loggers the store holds (logger type and data\n"
     "type): its quota and the share of it in use, in per cent of the loggers' space, its loggers\n"
     "and files, and the oldest and the newest time of its loggers' ranges. A card folder is read\n"
     "without its configuration: the quotas are then the store's built-in ones.\n",
     runInfo},
    {"ls", "ls [TYPE]", "every identification with its type, time range, files, items and bytes",
     "\nOne line per identification of the store, family by family: its logger type and data type,\n"
     "its interval in seconds (- where it has none), the first and the last time of its range as\n"
     "the read API gives it, its files as catalogued, the whole items they hold and their bytes on\n"
     "the card. The operator log, which has no identification, shows as -. TYPE keeps one\n"
     "family: cyclic, event, pqevent, disturb or operator.\n"
     "Times are ISO 8601 in UTC with nanoseconds.\n",
     runList},
    {"files", "files ID", "the files of one logger, each as catalogued and as on the card",
     "\nThe data files of the logger ID (- for the operator log), in the order its catalogue entry\n"
     "lists them. For each: the file's path; its catalogue row (id, creation, range, header and\n"
     "item size); the file on the card (bytes, whole items and the times of the first and the\n"
     "last); its header (version, data type, owning logger, header word, unique id of its first\n"
     "item, scales); and whether row and file agree, or else each way in which they differ. The\n"
     "newest file of a logger is still being written: a row that ends before its last item there\n"
     "is the catalogue lagging, not a fault. Exit status 1 where a file and its row disagree.\n",
     runFiles},
};

} // namespace

const Command* commands(int& count)
{
    count = static_cast<int>(sizeof(kCommands) / sizeof(kCommands[0]));
    return kCommands;
}

} // namespace qzcli
