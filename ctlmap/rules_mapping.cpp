#include "check.h"
#include "control.h"
#include "target_cfg.h"

namespace ctlmap {
namespace {

void check_index_twice(const model& what, findings* to) {
    const lined<cfg_base_record>* first[TOTAL_CFG_ITEM] = {};
    for (const auto& record : what.base) {
        const auto*& earlier = first[record.idx];
        if (earlier != nullptr) {
            report(to, ERROR, "index-twice", BASE_FILE, record.line,
                   "index %d has a line already, %d, which this one overrides; give each control "
                   "one line",
                   record.idx, earlier->line);
        }
        earlier = &record;
    }
}

}  // namespace

void check_mapping(const model& what, findings* to) {
    check_index_twice(what, to);
}

}  // namespace ctlmap
