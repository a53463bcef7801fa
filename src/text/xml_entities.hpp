// The five predefined XML entities and numeric character references, with
// no further entity table.
#pragma once

#include <string>
#include <string_view>

namespace tessaro::text {

// & < > " ' become &amp; &lt; &gt; &quot; &apos;; nothing else changes.
std::u16string escapeXmlEntities(std::u16string_view text);
// The five entities and decimal (&#65;) and hexadecimal (&#x41;) references
// become their characters; any other &...; is left as it stands.
std::u16string unescapeXmlEntities(std::u16string_view text);

}  // namespace tessaro::text
