#include "kxclientutil/support/finalized.h"

#include "kxclientutil/support/encoded_size.h"
#include "kxclientutil/support/trees.h"
#include "support/captured_report.h"

#include <kxclientutil/explanation.h>

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/installation.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace kx_test {

namespace {

constexpr std::string_view form_of_identifier = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
constexpr std::string_view lower_digits = "0123456789abcdef";
constexpr std::string_view upper_digits = "0123456789ABCDEF";

/// Whether the text begins with an identifier of these digits, as they are made fresh: version 4, variant 1.
bool begins_with_identifier(std::string_view text, std::string_view digits) {
    if (text.size() < form_of_identifier.size()) return false;
    for (std::size_t index = 0; index < form_of_identifier.size(); ++index) {
        char const wanted = form_of_identifier[index];
        std::size_t const digit = digits.find(text[index]);
        bool const fits = wanted == 'x'   ? digit != std::string_view::npos
                          : wanted == 'y' ? digit >= 8 && digit <= 11
                                          : text[index] == wanted;
        if (!fits) return false;
    }
    return true;
}

std::string xml_of(properties const& tree) {
    kxcore::constraint_db const anything(false);
    kxcore::configuration writer(anything, {"finalized", 7});
    writer.set_config(tree);
    kxbase::buffer bytes;
    writer.write_config(bytes, kxcore::configuration::format_xml);
    return std::string(bytes.text());
}

} // namespace

finalized finalize_copy(properties const& submission, kxclientutil::finalize_sub_conf const& settings,
                        kxcore::installation const& with, std::vector<std::string> const& before) {
    captured_report const log;
    finalized result{*kxcore::property_cast<properties>(submission.clone().get()), {}, {}, {}};
    property_list resources(before);
    try {
        kxclientutil::submission_finalize(result.submission, resources, settings, with.get_plugins(),
                                          with.get_constraints());
    } catch (kxbase::es::base const& error) {
        result.error = error.message();
    }
    result.resources = texts_at(properties("r", kxbase::make_refcount<property_list>(resources)), "r");
    for (captured_line const& line : log.lines())
        result.reports.push_back(line.category + ' ' + std::to_string(line.kind) + ' ' + std::to_string(line.severity) +
                                 ": " + line.message);
    return result;
}

void expect_room_for(finalized const& job, properties const& submission,
                     kxclientutil::finalize_sub_conf const& settings, kxcore::installation const& with) {
    captured_report const log;
    kxbase::limits limits = kxbase::current_limits();
    // A job may be smaller than the submission, which has to fit as well.
    limits.document = std::max(encoded_size(job.submission), encoded_size(submission));
    kxbase::scoped_limits const scope(limits);
    properties again = submission;
    property_list resources;
    kxclientutil::finalization_account account;
    try {
        kxclientutil::submission_finalize(again, resources, settings, with.get_plugins(), with.get_constraints(),
                                          account);
    } catch (kxbase::es::arg const& error) {
        // Fresh identifiers come in another order, and with them keys, whose numbers may take a byte more.
        EXPECT_EQ(account.last_step, kxclientutil::e_finalization_step::original) << error.message();
    }
}

std::string described(finalized const& result, properties const& original) {
    properties job = result.submission;
    if (*kxclientutil::submission_get_unfinalized_submission(job) == original)
        job.set_referenced_property("ext-meta{compressed-original}", text("(as it was)"));
    auto const whole = tree({{"job", kxbase::make_refcount<properties>(job)},
                             {"reports", texts(result.reports)},
                             {"resources", texts(result.resources)}});
    return with_numbered_identifiers(xml_of(*whole), xml_of(original));
}

std::string with_numbered_identifiers(std::string_view text, std::string_view known) {
    std::map<std::string_view, std::string> numbered;
    std::string result;
    while (!text.empty()) {
        bool const is_lower = begins_with_identifier(text, lower_digits);
        std::string_view const identifier = text.substr(0, form_of_identifier.size());
        if ((!is_lower && !begins_with_identifier(text, upper_digits)) ||
            known.find(identifier) != std::string_view::npos) {
            result += text.front();
            text.remove_prefix(1);
            continue;
        }
        std::string const number = std::to_string(numbered.size() + 1);
        result += numbered.try_emplace(identifier, (is_lower ? "uuid-" : "UUID-") + number).first->second;
        text.remove_prefix(identifier.size());
    }
    return result;
}

} // namespace kx_test
