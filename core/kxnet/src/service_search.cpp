#include "service_search.h"

#include "address_query.h"
#include "dnssd_symbols.h"
#include "txt_record.h"

#include <kxbase/errors.h>
#include <kxbase/report.h>
#include <kxbase/source_position.h>
#include <kxnet/mdns_addr_lookup.h>

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <system_error>

namespace kxnet {
namespace {

// What a process asks at a time takes up to five descriptors, a thread and a connection to the system's message bus each.
// Of descriptors most systems allow 1,024 to a process, and of connections 256 to a user: most are left to others.
constexpr std::size_t most_questions_ever = 64;
constexpr std::size_t least_questions = 4;
constexpr std::size_t descriptors_of_question = 5;
constexpr std::size_t share_of_descriptors = 3;
constexpr std::size_t watches_dropped_at_once = 8;

// The daemon's answers want to be taken, too, while it refuses one question after the other.
constexpr std::size_t most_begun_at_once = 16;

// To look for those that found no room takes a look at all.
constexpr std::size_t instances_with_room_for_others = service_search::most_instances / 10 * 9;

// A host with several addresses may answer first with another one than last time.
constexpr std::chrono::milliseconds patience_for_known_address{200};

// One lost packet is none.
constexpr unsigned int failures_that_mean_gone = 2;

constexpr unsigned int severity_error = 3;
constexpr unsigned int severity_warning = 4;
constexpr unsigned int severity_notice = 5;

void report(unsigned int severity, std::string const& message,
            kxbase::source_position where = kxbase::source_position::current()) {
    kxbase::report(where.file_name(), where.line(), "Bonjour", severity <= severity_warning ? 3 : 2, severity, message);
}

/// The handler is other people's code: what it raises must not end the search, let alone the process.
template <typename Call>
void guarded(Call const& call) {
    try {
        call();
    } catch (std::exception const& error) {
        report(severity_warning, std::string("an observer of the network failed: ") + error.what());
    } catch (...) {
        report(severity_warning, "an observer of the network failed: it raised what is no exception");
    }
}

std::size_t questions_of_this_process() {
    rlimit descriptors = {};
    if (::getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return least_questions;
    return std::clamp<std::size_t>(descriptors.rlim_cur / share_of_descriptors / descriptors_of_question,
                                   least_questions, most_questions_ever);
}

/// What watching leaves to resolving, without which nothing is found.
std::size_t watches_among(std::size_t questions) {
    return questions - std::min(questions / 2, service_schedule::most_on_their_way);
}

unsigned char const* bytes_of(std::string const& text) {
    return reinterpret_cast<unsigned char const*>(text.data());
}

} // namespace

service_search::service_search(std::string type, search_resolve_query_handler& handler, search_timing const& timing)
    : type_(std::move(type)), handler_(handler), timing_(timing), pause_(timing.least_pause),
      shortage_pause_(timing.first_retry), most_questions_(questions_of_this_process()),
      most_watched_(watches_among(most_questions_)) {
    // Asked for on this thread: a search that is a static object is to end before the library that it uses.
    static_cast<void>(has_dnssd_library());
    try {
        thread_ = std::thread([this] { run(); });
    } catch (std::system_error const& error) {
        kxbase::es::call::raise(std::string("cannot start a thread: ") + error.what());
    }
}

service_search::~service_search() {
    is_stopped_ = true;
    wake_.wake();
    if (thread_.get_id() == std::this_thread::get_id()) {
        report(severity_error, "a search of the network is destroyed by the handler that it calls");
        std::abort();
    }
    thread_.join();
}

void service_search::run() {
    while (!is_stopped_) {
        try {
            look_again_at_crowd();
            keep_browsing();
            end_overdue();
            begin_due();
            bool const is_grace_over = ends_or_renews_grace();
            wait_and_take();
            if (is_grace_over && !is_stopped_) forget_missing();
        } catch (std::exception const& error) {
            recover(error.what());
        } catch (...) {
            recover("what was raised is no exception");
        }
    }
}

/// Nobody knows where it failed, most likely for want of memory: all that is under way begins anew.
void service_search::recover(char const* reason) noexcept {
    has_told_obstacle_ = true;
    sightings_.clear();
    lose_daemon();
    try {
        report(severity_warning, "browsing for " + type_ + " failed and begins anew: " + reason);
    } catch (std::exception const&) {
        report(severity_warning, "browsing failed and begins anew");
    }
    wait_for_wake();
}

// --- seeing ---------------------------------------------------------------------------------------------------

void service_search::keep_browsing() {
    if (browse_ || clock::now() < browse_change_) return;
    browse_ = dnssd_operation::browse(type_, [this](browse_answer const& seen) { sightings_.push_back(seen); });
    if (!browse_) return lose_daemon();
    browse_change_ = clock::now();
    is_crowded_ = false;
    begin_again_ = {};
    shortage_pause_ = timing_.first_retry;
    most_watched_ = watches_among(most_questions_);
    if (!services_.empty()) grace_end_ = browse_change_ + timing_.return_grace;
    if (std::exchange(has_told_obstacle_, false)) report(severity_notice, "browsing for " + type_ + " goes on");
}

/// Nobody remembers those that found no room, and the daemon tells of each once to whoever browses: another one begins to.
void service_search::look_again_at_crowd() {
    if (clock::now() < next_look_at_crowd()) return;
    browse_ = {};
    browse_change_ = {};
    sightings_.clear();
    for (auto const& [key, each] : services_)
        each->sightings = 0;
    report(severity_notice, "there is room for other instances of " + type_ + " again, browsing begins anew");
}

service_search::clock::time_point service_search::next_look_at_crowd() const {
    bool const has_room = is_crowded_ && services_.size() <= instances_with_room_for_others;
    return has_room && browse_ ? browse_change_ + timing_.recheck : clock::time_point::max();
}

/// What is known stays known: the nodes may well be there while nobody on this machine can say so.
void service_search::lose_daemon() {
    auto const now = clock::now();
    bool const was_steady = browse_ && now - browse_change_ > timing_.most_pause;
    pause_ = was_steady ? timing_.least_pause : std::min<clock::duration>(pause_ * 2, timing_.most_pause);
    browse_change_ = now + pause_;
    browse_ = {};
    grace_end_ = clock::time_point::max();
    for (auto const& [key, each] : services_) {
        schedule_.take_out(*each);
        each->operation = {};
        each->watching = {};
        each->step = service::e_step::none;
        each->sightings = 0;
    }
    watched_.clear();
    if (!std::exchange(has_told_obstacle_, true))
        report(severity_notice, has_dnssd_library()
                                    ? "no DNS-SD daemon answers, browsing for " + type_ + " begins when one does"
                                    : "there is no DNS-SD client library, browsing for " + type_ + " finds nothing");
}

void service_search::take_sightings() {
    for (auto const& seen : std::exchange(sightings_, {})) {
        if (is_stopped_) return;
        seen.added ? add(seen) : remove(seen);
    }
}

void service_search::add(browse_answer const& seen) {
    service_key const key = {{seen.name, seen.domain}, seen.interface_index};
    auto which = services_.find(key);
    if (which == services_.end() && services_.size() >= most_instances) {
        if (!std::exchange(is_crowded_, true))
            report(severity_warning, "there are more than " + std::to_string(most_instances) + " instances of " +
                                         type_ + ": others are not looked at");
        return;
    }
    // The service first: what fails for want of memory leaves nothing behind.
    if (which == services_.end()) which = services_.emplace(key, std::make_unique<service>()).first;
    auto& each = *which->second;
    // More of those that are missing may be told of behind it: the client library may hand on one at a time.
    if (each.is_listed && each.sightings == 0) grace_end_ = std::max(grace_end_, clock::now() + timing_.least_pause);
    each.instance = seen;
    if (++each.sightings > 1 || service_schedule::holds(each)) return;
    if (!each.is_listed) tell_seen(each, true, seen.more_coming);
    schedule_.begin_at(each, clock::now());
}

void service_search::remove(browse_answer const& gone) {
    auto const which = services_.find({{gone.name, gone.domain}, gone.interface_index});
    if (which == services_.end()) return;
    auto& each = *which->second;
    each.instance.more_coming = gone.more_coming;
    if (each.sightings > 1) {
        --each.sightings;
    } else {
        forget(which);
    }
}

void service_search::forget(service_map::iterator which) {
    auto& each = *which->second;
    if (each.is_listed) tell_seen(each, false, each.instance.more_coming);
    schedule_.take_out(each);
    watched_.erase(&each);
    services_.erase(which);
}

/// Whether it is time to look a last time for what the daemon has told of those that are missing. Whoever is late was held up
/// and has not listened, and the daemon may have been held up with it: then the time begins anew.
bool service_search::ends_or_renews_grace() {
    auto const now = clock::now();
    if (now < grace_end_) return false;
    if (now < grace_end_ + timing_.least_pause) return true;
    grace_end_ = now + timing_.return_grace;
    return false;
}

void service_search::forget_missing() {
    if (clock::now() < grace_end_) return; // the last look has put it off
    grace_end_ = clock::time_point::max();
    for (auto which = services_.begin(); which != services_.end();) {
        auto const next = std::next(which);
        which->second->instance.more_coming = false;
        if (which->second->sightings == 0) forget(which);
        which = next;
    }
}

// --- resolving ------------------------------------------------------------------------------------------------

void service_search::begin_due() {
    auto const now = clock::now();
    for (std::size_t begun = 0; begun != most_begun_at_once && !is_stopped_ && begin_again_ <= now; ++begun) {
        auto* const each = schedule_.find_due(now);
        if (each == nullptr) return;
        // Others of this process may have taken all; one question is always asked.
        if (dnssd_operation::count() >= most_questions_ && !schedule_.on_their_way().empty()) {
            begin_again_ = now + timing_.least_pause;
            return;
        }
        resolve(*each);
    }
}

void service_search::end_overdue() {
    auto const now = clock::now();
    while (!is_stopped_) {
        auto* const each = schedule_.find_overdue(now);
        if (each == nullptr) return;
        // The answer may have come while the handler was busy.
        if (each->operation.is_ready()) take_step(*each);
        if (each->step == service::e_step::none || each->scheduled > now) continue;
        each->step == service::e_step::resolving ? fail(*each) : conclude(*each);
    }
}

void service_search::resolve(service& each) {
    each.has_answer = false;
    each.found_address.clear();
    each.operation = dnssd_operation::resolve(each.instance, [&each](resolve_answer const& answer) {
        each.found = answer;
        each.has_answer = true;
    });
    if (each.operation.refusal() == e_refusal::question) return fail(each);
    if (!each.operation) return pause_for_shortage(each);
    each.refusals = 0;
    shortage_pause_ = timing_.first_retry;
    each.step = service::e_step::resolving;
    schedule_.end_at(each, clock::now() + timing_.resolve_patience);
}

/// Nothing is known of the instance by this. It goes behind the others, in case it is the reason.
void service_search::pause_for_shortage(service& each) {
    drop_some_watches();
    auto const now = clock::now();
    begin_again_ = now + shortage_pause_;
    shortage_pause_ = std::min<clock::duration>(shortage_pause_ * 2, std::max(timing_.most_pause, timing_.first_retry));
    schedule_.begin_at(each, now + retry_after(++each.refusals, each));
}

service_search::clock::duration service_search::retry_after(unsigned int times, service const& each) const {
    constexpr unsigned int most_doublings = 16;
    return std::min(timing_.first_retry * (1U << std::min(times - 1, most_doublings)),
                    each.was_ever_resolved ? timing_.recheck : timing_.longest_retry);
}

void service_search::take_step(service& each) {
    bool const is_well = each.operation.process();
    if (each.step == service::e_step::resolving) {
        if (each.has_answer) return ask_address(each);
        if (!is_well) fail(each);
        return;
    }
    if (!is_well ||
        (!each.found_address.empty() && (each.told_address.empty() || each.told_address == each.found_address)))
        return conclude(each);
    if (!each.found_address.empty())
        schedule_.end_at(each, std::min(each.scheduled, clock::now() + patience_for_known_address));
}

/// Asked for here, the handler's own look-up need not wait while it holds what it holds.
void service_search::ask_address(service& each) {
    each.operation = {}; // first: there may be room for no more than this one
    if (is_stopped_) return;
    each.operation =
        ask_for_address(each.instance.interface_index, each.found.host, [&each](std::string const& address) {
            if (each.found_address.empty() || address == each.told_address) each.found_address = address;
        });
    if (!each.operation) return conclude(each);
    each.step = service::e_step::asking_address;
    schedule_.end_at(each, clock::now() + address_patience);
}

void service_search::fail(service& each) {
    each.operation = {};
    each.step = service::e_step::none;
    ++each.failures;
    if (each.is_resolved && each.failures >= failures_that_mean_gone) {
        tell_seen(each, false, false);
        each.watching = {};
        watched_.erase(&each);
    }
    schedule_.begin_at(each, clock::now() + retry_after(each.failures, each));
}

void service_search::conclude(service& each) {
    each.operation = {};
    each.step = service::e_step::none;
    each.failures = 0;
    bool const is_same_host = each.is_resolved && each.told.host == each.found.host;
    if (is_same_host && each.found_address.empty()) each.found_address = each.told_address;
    bool const is_same_place =
        is_same_host && each.told.port == each.found.port && each.told_address == each.found_address;
    if (!each.is_listed) tell_seen(each, true, false);
    // As a change, before the place: a resolve takes nothing away of what a handler knows of the record.
    if (each.is_resolved && (!is_same_place || !each.watching)) tell_txt(each, {false, 0, each.found.txt});
    if (!is_same_place) {
        each.told = each.found;
        each.told_address = each.found_address;
        each.is_resolved = true;
        each.was_ever_resolved = true;
        tell_resolved(each);
    }
    if (most_watched_ < watches_among(most_questions_)) ++most_watched_;
    watch(each);
    schedule_.begin_at(each, clock::now() + timing_.recheck);
}

// --- watching -------------------------------------------------------------------------------------------------

void service_search::watch(service& each) {
    if (is_stopped_ || each.watching || watched_.size() >= most_watched_) return;
    if (dnssd_operation::count_of_watches() >= watches_among(most_questions_)) return;
    each.watching = dnssd_operation::query(each.instance.interface_index, each.told.full_name, e_record_type::txt,
                                           [&each](record_answer const& record) { each.records.push_back(record); });
    if (each.watching) watched_.insert(&each);
}

void service_search::take_txt(service& each) {
    bool const is_well = each.watching.process();
    for (auto const& record : std::exchange(each.records, {}))
        tell_txt(each, record);
    if (is_well) return;
    each.watching = {};
    watched_.erase(&each);
}

/// To see what is new counts for more than to see at once what changes.
void service_search::drop_some_watches() {
    for (std::size_t i = 0; i != watches_dropped_at_once && !watched_.empty(); ++i) {
        (*watched_.begin())->watching = {};
        watched_.erase(watched_.begin());
        most_watched_ = watched_.size();
    }
}

// --- waiting --------------------------------------------------------------------------------------------------

/// In milliseconds, as poll() wants it; -1 for as long as nothing comes.
int service_search::next_wait() const {
    auto next = std::min(grace_end_, next_look_at_crowd());
    if (!browse_) next = std::min(next, browse_change_);
    next = std::min({next, schedule_.next_overdue(), std::max(schedule_.next_due(), begin_again_)});
    if (next == clock::time_point::max()) return -1;
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(next - clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 60'000));
}

void service_search::wait_for_wake() const {
    pollfd waited = {wake_.descriptor(), POLLIN, 0};
    if (::poll(&waited, 1, static_cast<int>(timing_.least_pause.count())) < 0 && errno != EINTR)
        std::this_thread::sleep_for(timing_.least_pause);
}

void service_search::wait_and_take() {
    std::vector<service*> owners;
    std::vector<pollfd> waited = {{wake_.descriptor(), POLLIN, 0}, {browse_.descriptor(), POLLIN, 0}};
    auto const first_step = waited.size();
    for (auto const& [when, each] : schedule_.on_their_way()) {
        waited.push_back({each->operation.descriptor(), POLLIN, 0});
        owners.push_back(each);
    }
    auto const first_watch = waited.size();
    for (auto* const each : watched_) {
        waited.push_back({each->watching.descriptor(), POLLIN, 0});
        owners.push_back(each);
    }
    int const ready = ::poll(waited.data(), waited.size(), next_wait());
    if (ready < 0 && errno != EINTR) wait_for_wake(); // for want of memory, say: only a pause helps
    if (ready <= 0) return;
    wake_.drain();
    // First, because all others fail, too, when the daemon is gone. What was seen is told last: it may end services.
    if (waited[1].revents != 0 && !browse_.process()) {
        take_sightings();
        return lose_daemon();
    }
    for (auto i = first_step; i != waited.size() && !is_stopped_; ++i) {
        auto& each = *owners[i - first_step];
        if (waited[i].revents == 0) continue;
        if (i < first_watch) {
            take_step(each);
        } else if (each.watching) {
            take_txt(each);
        }
    }
    take_sightings();
}

// --- telling --------------------------------------------------------------------------------------------------

void service_search::tell_seen(service& each, bool added, bool more_coming) {
    each.is_listed = added;
    if (!added) {
        each.is_resolved = false;
        each.told_address.clear();
    }
    guarded([&] { handler_.search_reply(each.instance.interface_index, each.instance.name, added, more_coming); });
}

void service_search::tell_resolved(service const& each) {
    known_address const known(each.told.host, each.instance.interface_index, each.told_address);
    guarded([&] {
        handler_.resolve_reply(each.instance.interface_index, each.instance.name.c_str(), each.told.host.c_str(),
                               each.told.port, static_cast<unsigned short>(each.told.txt.size()),
                               bytes_of(each.told.txt));
    });
}

void service_search::tell_txt(service& each, record_answer const& record) {
    if (have_same_entries(record.data, each.told.txt)) return;
    each.told.txt = record.data;
    guarded([&] {
        handler_.query_reply(each.instance.name.c_str(), static_cast<unsigned short>(record.data.size()),
                             bytes_of(record.data), record.time_to_live, true, record.more_coming);
    });
}

} // namespace kxnet
