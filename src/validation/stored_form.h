// A document of an older version beside what the upgrade made of it.
#pragma once

#include "validation/judged_document.h"

#include <kxcore/document_places.h>

#include <map>
#include <optional>

namespace kxclientutil {

/// The tree with what is readable in the place of each wrapped credential: a URL without user and password, and asterisks
/// for a text. Upgrades want texts, and nobody wants to need a key for looking at a document.
[[nodiscard]] kxcore::properties with_readable_credentials(kxcore::properties const& stored);

/// Finds the places of properties of an upgraded document in the text of the stored one.
class stored_places {
public:
    /// @param places  of the stored document; must outlive this object, as the trees must
    stored_places(e_config_type type, kxcore::properties const& stored, kxcore::properties const& upgraded,
                  kxcore::document_places const& places);

    /// The place of the member of the same path, in tasks of the task with the same id; nothing when it is not there.
    /// What is missing stands where the tree around it begins.
    [[nodiscard]] std::optional<kxcore::document_place> find(document_problem const& problem) const;

private:
    std::string list_;
    std::map<std::string, std::string, std::less<>> stored_task_;
    kxcore::document_places const& places_;
};

} // namespace kxclientutil
