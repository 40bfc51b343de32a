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
    {"verify", "verify", "the whole store checked: catalogue, files, items and quotas",
     "\nChecks the whole store and changes no byte of it: the catalogue with SQLite's integrity_check\n"
     "and foreign_key_check; that each catalogued file is on the card and each data file on the\n"
     "card is catalogued; that each file's header and range agree with its row; that no file ends\n"
     "in an item cut short; that the items of each file, and of a logger's files one after the\n"
     "other, ascend in time; and that no family holds more than its quota. The newest file of a\n"
     "logger is still being written: its range may lag behind its items and its last item may be\n"
     "half written. One line per finding, \"<where>: <what>\", then \"verify: N loggers, M files,\n"
     "K findings\". On a terminal the standard error stream shows how far it is. Exit status 1\n"
     "where there are findings.\n",
     runVerify},
};

} // namespace

const Command* commands(int& count)
{
    count = static_cast<int>(sizeof(kCommands) / sizeof(kCommands[0]));
    return kCommands;
}

} // namespace qzcli
