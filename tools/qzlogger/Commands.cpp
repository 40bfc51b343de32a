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
};

} // namespace

const Command* commands(int& count)
{
    count = static_cast<int>(sizeof(kCommands) / sizeof(kCommands[0]));
    return kCommands;
}

} // namespace qzcli
