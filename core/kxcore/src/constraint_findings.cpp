#include "constraint_findings.h"

#include "constraint_found.h"
#include "constraint_words.h"

#include <kxbase/secret_names.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/nearest_text.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxcore/shown_value.h>

#include <algorithm>

namespace kxcore {

namespace {

constexpr std::size_t most_explained = 100;

// Walks a tree beside its constraint. How deep it gets is bounded by how deep constraints may be nested.
class finder {
public:
    explicit finder(finding_request const& request) : request_(request) {}

    void look_at(constraint const& by, property const& value);

    std::vector<finding> found;

private:
    void look_at_tree(constraint_db const& by, properties const& tree);
    void look_at_list(constraint_list const& by, property_list const& list);
    void look_at_alternatives(constraint_one_of const& by, property const& value);
    void look_at_member(std::string_view key, constraint const* by, property const& value);

    void add_misfit(constraint const& by, property const& value);
    void add_unknown(constraint_db const& by, properties const& tree, property_member const& member);
    void add_missing(constraint_db::member const& member);

    // Explaining costs more than finding: of very many findings only the first are explained in full.
    [[nodiscard]] bool is_explained() const { return found.size() < most_explained; }
    [[nodiscard]] bool is_full() const { return found.size() >= request_.at_most; }
    std::size_t enter(std::string_view key);
    void leave(std::size_t length, bool was_secret) {
        path_.resize(length);
        secret_ = was_secret;
    }

    finding_request request_;
    std::string path_;
    // Whether the path leads through a name that promises a secret.
    bool secret_ = false;
};

// An enumeration is described shorter than it describes itself: whoever looks for the right word wants the words.
std::string values_of(constraint_enum const& of) {
    std::string text;
    for (auto const& value : of.allowed()) {
        text += text.empty() ? (of.allowed().size() > 1 ? "one of " : "") : ", ";
        words::append_shown(text, static_cast<property_string const&>(*value).value());
    }
    return text;
}

std::string description(constraint const& of) {
    if (of.kind() == constraint_kind::enumeration) {
        auto const& values = static_cast<constraint_enum const&>(of);
        if (!values.allowed().empty()) return values_of(values);
    }
    std::string text = constraint_description(of);
    // Enumerations of several values describe themselves with a blank at the end, empty ones with one at the beginning.
    text.erase(text.find_last_not_of(' ') + 1);
    text.erase(0, text.find_first_not_of(' '));
    return text;
}

void finder::look_at(constraint const& by, property const& value) {
    if (is_full() || constraint::is_flagged_valid(&value, request_.flags)) return;
    switch (by.kind()) {
    case constraint_kind::database:
        if (auto const* tree = property_cast<properties>(&value))
            return look_at_tree(static_cast<constraint_db const&>(by), *tree);
        break;
    case constraint_kind::list:
        if (auto const* list = property_cast<property_list>(&value))
            return look_at_list(static_cast<constraint_list const&>(by), *list);
        break;
    case constraint_kind::one_of: return look_at_alternatives(static_cast<constraint_one_of const&>(by), value);
    default: break;
    }
    if (request_.invalid && !by.is_valid(&value, request_.flags)) add_misfit(by, value);
}

// Both sides are in byte order, so the findings come in that order, missing ones among the others.
void finder::look_at_tree(constraint_db const& by, properties const& tree) {
    auto const known = by.members();
    auto next = known.begin();
    auto const* member = tree.begin();
    while (!is_full() && (next != known.end() || member != tree.end())) {
        int const order = next == known.end() ? 1 : member == tree.end() ? -1 : next->name.compare(member->key());
        if (order < 0) {
            if (next->required && request_.missing) add_missing(*next);
            ++next;
        } else if (order > 0) {
            if (by.is_closed() && request_.invalid) add_unknown(by, tree, *member);
            ++member;
        } else {
            look_at_member(member->key(), next->value.get(), *member->value());
            ++next;
            ++member;
        }
    }
}

void finder::look_at_member(std::string_view key, constraint const* by, property const& value) {
    if (by == nullptr) return;
    bool const was_secret = secret_;
    std::size_t const length = enter(key);
    look_at(*by, value);
    leave(length, was_secret);
}

void finder::look_at_list(constraint_list const& by, property_list const& list) {
    if (request_.invalid && (list.size() < by.min_size() || list.size() > by.max_size())) add_misfit(by, list);
    for (std::size_t i = 0; i < list.size() && !is_full(); ++i) {
        std::size_t const length = path_.size();
        path_ += '[' + std::to_string(i) + ']';
        look_at(*by.element(), *list[i]);
        path_.resize(length);
    }
}

// What is wrong inside a value that has alternatives is told by the one that it misses least, what is wrong with the
// value itself by all of them.
void finder::look_at_alternatives(constraint_one_of const& by, property const& value) {
    std::vector<constraint const*> candidates;
    bool any_valid = false;
    for (auto const& each : by.alternatives()) {
        bool const valid = each->is_valid(&value, request_.flags);
        if (valid && (!request_.missing || is_satisfied(*each, value, request_.flags))) return;
        any_valid = any_valid || valid;
        if (valid || (request_.invalid && each->property_kind() == value.kind())) candidates.push_back(each.get());
    }
    if (!any_valid && !request_.invalid) return;
    std::vector<finding> best;
    for (constraint const* candidate : candidates) {
        finder attempt(request_);
        attempt.path_ = path_;
        attempt.secret_ = secret_;
        attempt.look_at(*candidate, value);
        if (best.empty() || (!attempt.found.empty() && attempt.found.size() < best.size()))
            best = std::move(attempt.found);
    }
    bool const leads_deeper = !best.empty() && best.front().path != path_;
    if (!leads_deeper) return add_misfit(by, value);
    for (finding& each : best)
        if (!is_full()) found.push_back(std::move(each));
}

void finder::add_misfit(constraint const& by, property const& value) {
    finding made;
    made.path = path_;
    made.found = found_text(value, secret_);
    made.allowed = description(by);
    if (!secret_ && is_explained()) made.suggestion = suggestion_text(by, value);
    found.push_back(std::move(made));
}

void finder::add_unknown(constraint_db const& by, properties const& tree, property_member const& member) {
    finding made;
    bool const was_secret = secret_;
    std::size_t const length = enter(member.key());
    made.what = e_finding::unknown;
    made.path = path_;
    // The key is not what it should be, so nobody knows whether the value is a secret.
    made.found = found_text(*member.value(), true);
    constexpr std::size_t most_names = 12;
    nearest_text nearest(member.key());
    std::size_t shown = 0;
    for (auto const& each : is_explained() ? by.members() : std::span<constraint_db::member const>()) {
        if (!tree.is_present(each.name)) nearest.consider(each.name);
        if (++shown > most_names) continue;
        made.allowed += shown == 1 ? "one of " : ", ";
        words::append_shown(made.allowed, each.name);
    }
    if (shown > most_names) made.allowed += " and " + std::to_string(shown - most_names) + " more";
    if (!nearest.good_guess().empty()) words::append_shown(made.suggestion, nearest.good_guess());
    found.push_back(std::move(made));
    leave(length, was_secret);
}

void finder::add_missing(constraint_db::member const& member) {
    finding made;
    bool const was_secret = secret_;
    std::size_t const length = enter(member.name);
    made.what = e_finding::missing;
    made.path = path_;
    made.allowed = member.value ? description(*member.value) : "any value";
    found.push_back(std::move(made));
    leave(length, was_secret);
}

// Adds a key to the path and returns how long the path was.
std::size_t finder::enter(std::string_view key) {
    std::size_t const length = path_.size();
    if (path_.empty()) {
        path_ = key;
    } else {
        path_ += '{';
        path_ += key;
        path_ += '}';
    }
    secret_ = secret_ || kxbase::is_secret_name(key);
    return length;
}

} // namespace

std::vector<finding> find_findings(constraint_db const& database, properties const& tree,
                                   finding_request const& request) {
    finder all(request);
    all.look_at(database, tree);
    return std::move(all.found);
}

bool is_satisfied(constraint const& by, property const& value, unsigned int flags) {
    if (constraint::is_flagged_valid(&value, flags)) return true;
    switch (by.kind()) {
    case constraint_kind::database: {
        auto const* tree = property_cast<properties>(&value);
        if (tree == nullptr) return true;
        auto const& database = static_cast<constraint_db const&>(by);
        auto const* member = tree->begin();
        for (auto const& each : database.members()) {
            while (member != tree->end() && member->key() < each.name)
                ++member;
            bool const present = member != tree->end() && member->key() == each.name;
            if (!present && each.required) return false;
            if (present && each.value && !is_satisfied(*each.value, *member->value(), flags)) return false;
        }
        return true;
    }
    case constraint_kind::list: {
        auto const* list = property_cast<property_list>(&value);
        constraint const& element = *static_cast<constraint_list const&>(by).element();
        return list == nullptr ||
               std::all_of(list->begin(), list->end(), [&element, flags](property_handle const& each) {
                   return is_satisfied(element, *each, flags);
               });
    }
    case constraint_kind::one_of: {
        bool any_valid = false;
        for (auto const& each : static_cast<constraint_one_of const&>(by).alternatives()) {
            if (!each->is_valid(&value, flags)) continue;
            if (is_satisfied(*each, value, flags)) return true;
            any_valid = true;
        }
        // A value that none of them accepts is not valid: that is another finding.
        return !any_valid;
    }
    default: return true;
    }
}

} // namespace kxcore
