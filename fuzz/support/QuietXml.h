#pragma once

namespace obg::test {

/// Keeps libxml2 from printing the few complaints that it does not hand to the parse's own error callback.
void silenceXml();

} // namespace obg::test
