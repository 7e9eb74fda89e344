#pragma once

#include "relay/web/WebHeaders.h"

namespace wingbell {

/// Headers with which an answer can do little harm in a browser: an API's answer is no document, is
/// kept nowhere and read by no other site. `headers` are added, or replace those of the same name.
[[nodiscard]] WebHeaders safeApiHeaders(const WebHeaders& headers = {});

/// The same for a page: only what comes from here runs in it, and it runs in no other page.
/// Browsers may keep it, but ask each time whether it is still the same.
[[nodiscard]] WebHeaders safePageHeaders(const WebHeaders& headers = {});

} // namespace wingbell
