#include "print.h"

#include "findings.h"
#include "utf8.h"

namespace ctlmap {
namespace {

using namespace engine;

void put(const char* text, FILE* out) {
    while (*text != '\0') {
        text += write_character(text, out);
    }
}

}  // namespace

void print_findings(const char* dir, bool quiet, FILE* out) {
    for (const finding& item : findings()) {
        if (quiet && item.level == NOTE) {
            continue;
        }
        put(dir, out);
        fprintf(out, "/%s:", item.file);
        if (item.line > 0) {
            fprintf(out, "%d:", item.line);
        }
        fprintf(out, " %s: ", SEVERITY_NAMES[item.level]);
        put(item.text, out);
        fprintf(out, " [%s]\n", item.rule);
    }
    if (quiet) {
        return;
    }
    for (const severity level : {ERROR, WARNING, NOTE}) {
        const int count = count_findings(level);
        fprintf(out, "%s%d %s%s", level == ERROR ? "" : ", ", count, SEVERITY_NAMES[level],
                count == 1 ? "" : "s");
    }
    if (dropped_findings() > 0) {
        fprintf(out, "; %d more not shown", dropped_findings());
    }
    fputc('\n', out);
}

void print_rules(FILE* out) {
    fputs("| rule | | finds | what helps |\n|---|---|---|---|\n", out);
    for (const rule& one : RULES) {
        fprintf(out, "| `%s` | %s | %s | %s |\n", one.id, SEVERITY_NAMES[one.level], one.finds,
                one.cure);
    }
}

}  // namespace ctlmap
