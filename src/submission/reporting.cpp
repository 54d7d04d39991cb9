#include "submission/reporting.h"

#include "raising.h"

#include <kxbase/report.h>

namespace kxclientutil {

void report_warning(std::string_view message, kxbase::source_position where) {
    kxbase::report(submission_source_path, where.line(), "ClientProxy", 4, 4, message);
}

void report_and_raise(std::string_view message, kxbase::source_position where) {
    kxbase::report(submission_source_path, where.line(), "ClientProxy", 4, 3, message);
    raise_from<kxbase::es::arg>(submission_source_path, message, where);
}

} // namespace kxclientutil
