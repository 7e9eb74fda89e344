#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <vector>

namespace wingbell {

/// True when a request's Host names this machine: by an address, as localhost, or by one of `names`
/// (in small letters). A foreign page can make the browser ask a foreign name that leads here, but
/// not one of these.
[[nodiscard]] bool isOwnHost(QByteArrayView host, const std::vector<QByteArray>& names);

/// True when a page that `origin` tells is a page of the server that `host` names, over https.
[[nodiscard]] bool isSameOrigin(QByteArrayView origin, QByteArrayView host);

} // namespace wingbell
