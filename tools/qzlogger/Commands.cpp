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
    {"dump", "dump ID [--from T] [--to T] [--last N] [--format csv|json|raw] [--out FILE]",
     "the items of one logger as CSV, JSON lines or raw records",
     "\nThe items of the logger ID (- for the operator log) from --from to --to, both included (all\n"
     "of them without), oldest first; with --last N only the last N of them. Formats:\n"
     "  csv   a header row named after the record's fields, arrays as numbered columns (values_0,\n"
     "        values_1, ...), then a row per item (the default)\n"
     "  json  one JSON object per line, arrays as JSON arrays\n"
     "  raw   the records as the files hold them, one after the other, without a header: the\n"
     "        bytes the read API's export writes\n"
     "Events come with their text, power-quality events with their duration and depth class (the\n"
     "row and the column of stats' class table; empty where the event is not classified).\n"
     "Times are printed as ISO 8601 in UTC with nanoseconds and taken in the same form, as a date,\n"
     "as seconds since 1970, as now, or back from now as -90s, -15m, -1h or -7d. The output goes\n"
     "to --out FILE, or to the standard output. The items are read a chunk at a time, so a dump\n"
     "of a year takes no more memory than one of a minute; on a terminal it shows its progress.\n",
     runDump},
    {"stats", "stats ID --from T --to T [--interval S]",
     "minimum, mean and maximum per interval, or the class table of PQ events",
     "\nFor a logger of MEAN, VTQ or DTQ values: the values from --from to --to folded onto a grid\n"
     "of S seconds, one row per interval that holds values, stamped with the interval's end, with\n"
     "the minimum, the mean and the maximum, and the quality (the bit 0x00010000 marks an interval\n"
     "that holds fewer values than a full one). The grid starts on a whole multiple of S (of an\n"
     "hour for S above an hour), as the read API's aggregation lays it. Without --interval the\n"
     "first of 1, 10, 60, 600, 3600 and 86400 seconds that gives at most a hundred rows, else a\n"
     "week.\n"
     "For a logger of power-quality events: the 5 x 7 table of the events of the range, by\n"
     "duration (rows: up to 0.2, 0.5, 1, 5 and 60 s) and residual voltage in per cent of the\n"
     "reference (columns), and the count of events outside the table. Every event of the range is\n"
     "counted.\n",
     runStats},
    {"plot", "plot ID --from T --to T --out FILE.png|FILE.svg [--size WxH]",
     "a chart of one logger over a range of time, as a PNG or SVG file",
     "\nDraws the items of the logger ID from --from to --to, both included, into FILE, a PNG\n"
     "image or an SVG file by its suffix, WxH pixels (--size, default 1200x600), the\n"
     "identification as its title. By the logger's data type: MEAN as a band from minimum to\n"
     "maximum with the mean as a line, over a range of many items folded onto a coarser grid\n"
     "of whole seconds; VTQ, DTQ and ITQ as points; HISTOGRAM as bars, the records of the range\n"
     "merged into per cent of each class; PQEVENT as the 5 x 7 table of the events' classes of\n"
     "duration and residual voltage with their counts. Time axes are labelled in ISO 8601 UTC.\n"
     "T is what the other commands take: ISO 8601, a date, seconds since 1970, now, or a time\n"
     "back from now (-90s, -15m, -1h, -7d). A range without items still gives a chart, which\n"
     "says so. Prints the file written and what it shows.\n",
     runPlot},
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
