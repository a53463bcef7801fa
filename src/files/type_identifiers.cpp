// The extension table (sorted by extension, for binary search) and the
// dynamic identifiers of undeclared extensions.
#include "files/type_identifiers.hpp"

#include <algorithm>
#include <array>

namespace tessaro::files {
namespace {

constexpr std::array kDeclared = std::to_array<DeclaredType>({
    {"3fr", "com.hasselblad.3fr-raw-image", TypeKind::image},
    {"3g2", "public.3gpp2", TypeKind::movie},
    {"3gp", "public.3gpp", TypeKind::movie},
    {"3gp2", "public.3gpp2", TypeKind::movie},
    {"3gpp", "public.3gpp", TypeKind::movie},
    {"7z", "org.7-zip.7-zip-archive", TypeKind::archive},
    {"aac", "public.aac-audio", TypeKind::audio},
    {"ac3", "public.ac3-audio", TypeKind::audio},
    {"ada", "public.ada-source", TypeKind::source},
    {"adb", "public.ada-source", TypeKind::source},
    {"ads", "public.ada-source", TypeKind::source},
    {"adts", "public.aac-audio", TypeKind::audio},
    {"ai", "com.adobe.illustrator.ai-image", TypeKind::image},
    {"aif", "public.aiff-audio", TypeKind::audio},
    {"aifc", "public.aifc-audio", TypeKind::audio},
    {"aiff", "public.aiff-audio", TypeKind::audio},
    {"app", "com.apple.application-bundle", TypeKind::bundle},
    {"appex", "com.apple.application-and-system-extension", TypeKind::bundle},
    {"applescript", "com.apple.applescript.text", TypeKind::script},
    {"arw", "com.sony.arw-raw-image", TypeKind::image},
    {"asf", "com.microsoft.advanced-systems-format", TypeKind::movie},
    {"au", "public.ulaw-audio", TypeKind::audio},
    {"avi", "public.avi", TypeKind::movie},
    {"avif", "public.avif", TypeKind::image},
    {"bash", "public.bash-script", TypeKind::script},
    {"bmp", "com.microsoft.bmp", TypeKind::image},
    {"bundle", "com.apple.bundle", TypeKind::bundle},
    {"bz2", "public.bzip2-archive", TypeKind::archive},
    {"c", "public.c-source", TypeKind::source},
    {"c++", "public.c-plus-plus-source", TypeKind::source},
    {"caf", "com.apple.coreaudio-format", TypeKind::audio},
    {"cc", "public.c-plus-plus-source", TypeKind::source},
    {"class", "com.sun.java-class", TypeKind::data},
    {"command", "com.apple.terminal.shell-script", TypeKind::script},
    {"cp", "public.c-plus-plus-source", TypeKind::source},
    {"cpio", "public.cpio-archive", TypeKind::archive},
    {"cpp", "public.c-plus-plus-source", TypeKind::source},
    {"cr2", "com.canon.cr2-raw-image", TypeKind::image},
    {"cr3", "com.canon.cr3-raw-image", TypeKind::image},
    {"crw", "com.canon.crw-raw-image", TypeKind::image},
    {"csh", "public.csh-script", TypeKind::script},
    {"css", "public.css", TypeKind::text},
    {"csv", "public.comma-separated-values-text", TypeKind::text},
    {"cur", "com.microsoft.cur", TypeKind::image},
    {"cxx", "public.c-plus-plus-source", TypeKind::source},
    {"dcr", "com.kodak.raw-image", TypeKind::image},
    {"dfont", "com.apple.truetype-datafork-suitcase-font", TypeKind::font},
    {"dib", "com.microsoft.bmp", TypeKind::image},
    {"dif", "public.dv-movie", TypeKind::movie},
    {"diff", "public.patch-file", TypeKind::text},
    {"dll", "com.microsoft.windows-dynamic-link-library", TypeKind::data},
    {"dmg", "com.apple.disk-image-udif", TypeKind::archive},
    {"dng", "com.adobe.raw-image", TypeKind::image},
    {"doc", "com.microsoft.word.doc", TypeKind::document},
    {"docx", "org.openxmlformats.wordprocessingml.document", TypeKind::document},
    {"dv", "public.dv-movie", TypeKind::movie},
    {"dylib", "com.apple.mach-o-dylib", TypeKind::data},
    {"eml", "com.apple.mail.email", TypeKind::document},
    {"emlx", "com.apple.mail.emlx", TypeKind::document},
    {"eps", "com.adobe.encapsulated-postscript", TypeKind::document},
    {"erf", "com.epson.raw-image", TypeKind::image},
    {"exe", "com.microsoft.windows-executable", TypeKind::data},
    {"exr", "com.ilm.openexr-image", TypeKind::image},
    {"f", "public.fortran-source", TypeKind::source},
    {"f90", "public.fortran-90-source", TypeKind::source},
    {"f95", "public.fortran-95-source", TypeKind::source},
    {"flac", "org.xiph.flac", TypeKind::audio},
    {"for", "public.fortran-source", TypeKind::source},
    {"fpx", "com.kodak.flashpix-image", TypeKind::image},
    {"framework", "com.apple.framework", TypeKind::bundle},
    {"gif", "com.compuserve.gif", TypeKind::image},
    {"gz", "org.gnu.gnu-zip-archive", TypeKind::archive},
    {"gzip", "org.gnu.gnu-zip-archive", TypeKind::archive},
    {"h", "public.c-header", TypeKind::source},
    {"h++", "public.c-plus-plus-header", TypeKind::source},
    {"hdr", "public.radiance", TypeKind::image},
    {"heic", "public.heic", TypeKind::image},
    {"heics", "public.heics", TypeKind::image},
    {"heif", "public.heif", TypeKind::image},
    {"hh", "public.c-plus-plus-header", TypeKind::source},
    {"hif", "public.heif", TypeKind::image},
    {"hpp", "public.c-plus-plus-header", TypeKind::source},
    {"hqx", "com.apple.binhex-archive", TypeKind::archive},
    {"htm", "public.html", TypeKind::text},
    {"html", "public.html", TypeKind::text},
    {"hxx", "public.c-plus-plus-header", TypeKind::source},
    {"icc", "com.apple.colorsync-profile", TypeKind::document},
    {"icm", "com.apple.colorsync-profile", TypeKind::document},
    {"icns", "com.apple.icns", TypeKind::image},
    {"ico", "com.microsoft.ico", TypeKind::image},
    {"ics", "com.apple.ical.ics", TypeKind::text},
    {"iiq", "com.phaseone.raw-image", TypeKind::image},
    {"iso", "public.iso-image", TypeKind::archive},
    {"j2k", "public.jpeg-2000", TypeKind::image},
    {"jar", "com.sun.java-archive", TypeKind::archive},
    {"java", "com.sun.java-source", TypeKind::source},
    {"jfif", "public.jpeg", TypeKind::image},
    {"jp2", "public.jpeg-2000", TypeKind::image},
    {"jpe", "public.jpeg", TypeKind::image},
    {"jpeg", "public.jpeg", TypeKind::image},
    {"jpf", "public.jpeg-2000", TypeKind::image},
    {"jpg", "public.jpeg", TypeKind::image},
    {"jpx", "public.jpeg-2000", TypeKind::image},
    {"js", "com.netscape.javascript-source", TypeKind::source},
    {"json", "public.json", TypeKind::text},
    {"kar", "public.midi-audio", TypeKind::audio},
    {"kext", "com.apple.kernel-extension", TypeKind::bundle},
    {"key", "com.apple.iwork.keynote.sffkey", TypeKind::document},
    {"ksh", "public.ksh-script", TypeKind::script},
    {"log", "public.log", TypeKind::text},
    {"m", "public.objective-c-source", TypeKind::source},
    {"m2ts", "public.mpeg-2-transport-stream", TypeKind::movie},
    {"m2v", "public.mpeg-2-video", TypeKind::movie},
    {"m3u", "public.m3u-playlist", TypeKind::audio},
    {"m3u8", "public.m3u-playlist", TypeKind::audio},
    {"m4a", "com.apple.m4a-audio", TypeKind::audio},
    {"m4p", "com.apple.protected-mpeg-4-audio", TypeKind::audio},
    {"m4v", "com.apple.m4v-video", TypeKind::movie},
    {"markdown", "net.daringfireball.markdown", TypeKind::text},
    {"md", "net.daringfireball.markdown", TypeKind::text},
    {"mid", "public.midi-audio", TypeKind::audio},
    {"midi", "public.midi-audio", TypeKind::audio},
    {"mm", "public.objective-c-plus-plus-source", TypeKind::source},
    {"mov", "com.apple.quicktime-movie", TypeKind::movie},
    {"mp3", "public.mp3", TypeKind::audio},
    {"mp4", "public.mpeg-4", TypeKind::movie},
    {"mpe", "public.mpeg", TypeKind::movie},
    {"mpeg", "public.mpeg", TypeKind::movie},
    {"mpg", "public.mpeg", TypeKind::movie},
    {"mpg4", "public.mpeg-4", TypeKind::movie},
    {"mrw", "com.konicaminolta.raw-image", TypeKind::image},
    {"mts", "public.mpeg-2-transport-stream", TypeKind::movie},
    {"nef", "com.nikon.raw-image", TypeKind::image},
    {"nrw", "com.nikon.nrw-raw-image", TypeKind::image},
    {"numbers", "com.apple.iwork.numbers.sffnumbers", TypeKind::document},
    {"o", "public.object-code", TypeKind::data},
    {"odg", "org.oasis-open.opendocument.graphics", TypeKind::document},
    {"odp", "org.oasis-open.opendocument.presentation", TypeKind::document},
    {"ods", "org.oasis-open.opendocument.spreadsheet", TypeKind::document},
    {"odt", "org.oasis-open.opendocument.text", TypeKind::document},
    {"orf", "com.olympus.or-raw-image", TypeKind::image},
    {"otf", "public.opentype-font", TypeKind::font},
    {"pages", "com.apple.iwork.pages.sffpages", TypeKind::document},
    {"pas", "public.pascal-source", TypeKind::source},
    {"patch", "public.patch-file", TypeKind::text},
    {"pbm", "public.pbm", TypeKind::image},
    {"pch", "public.precompiled-c-header", TypeKind::source},
    {"pct", "com.apple.pict", TypeKind::image},
    {"pdf", "com.adobe.pdf", TypeKind::document},
    {"pef", "com.pentax.raw-image", TypeKind::image},
    {"php", "public.php-script", TypeKind::script},
    {"pict", "com.apple.pict", TypeKind::image},
    {"pkg", "com.apple.installer-package-archive", TypeKind::archive},
    {"pl", "public.perl-script", TypeKind::script},
    {"plist", "com.apple.property-list", TypeKind::text},
    {"pls", "public.pls-playlist", TypeKind::audio},
    {"plugin", "com.apple.plugin", TypeKind::bundle},
    {"pm", "public.perl-script", TypeKind::script},
    {"png", "public.png", TypeKind::image},
    {"pntg", "com.apple.macpaint-image", TypeKind::image},
    {"ppt", "com.microsoft.powerpoint.ppt", TypeKind::document},
    {"pptx", "org.openxmlformats.presentationml.presentation", TypeKind::document},
    {"prefpane", "com.apple.systempreference.prefpane", TypeKind::bundle},
    {"ps", "com.adobe.postscript", TypeKind::document},
    {"psd", "com.adobe.photoshop-image", TypeKind::image},
    {"py", "public.python-script", TypeKind::script},
    {"qt", "com.apple.quicktime-movie", TypeKind::movie},
    {"qtz", "com.apple.quartz-composer-composition", TypeKind::bundle},
    {"ra", "com.real.realaudio", TypeKind::audio},
    {"raf", "com.fuji.raw-image", TypeKind::image},
    {"ram", "com.real.realaudio", TypeKind::audio},
    {"rar", "com.rarlab.rar-archive", TypeKind::archive},
    {"rb", "public.ruby-script", TypeKind::script},
    {"rm", "com.real.realmedia", TypeKind::movie},
    {"rtf", "public.rtf", TypeKind::text},
    {"rtfd", "com.apple.rtfd", TypeKind::bundle},
    {"rw2", "com.panasonic.rw2-raw-image", TypeKind::image},
    {"s", "public.assembly-source", TypeKind::source},
    {"scpt", "com.apple.applescript.script", TypeKind::script},
    {"scptd", "com.apple.applescript.script-bundle", TypeKind::bundle},
    {"sd2", "com.digidesign.sd2-audio", TypeKind::audio},
    {"sgi", "com.sgi.sgi-image", TypeKind::image},
    {"sh", "public.shell-script", TypeKind::script},
    {"shtml", "public.html", TypeKind::text},
    {"smf", "public.midi-audio", TypeKind::audio},
    {"snd", "public.ulaw-audio", TypeKind::audio},
    {"sr2", "com.sony.sr2-raw-image", TypeKind::image},
    {"srw", "com.samsung.raw-image", TypeKind::image},
    {"strings", "com.apple.xcode.strings-text", TypeKind::text},
    {"svg", "public.svg-image", TypeKind::image},
    {"svgz", "public.svg-image", TypeKind::image},
    {"swift", "public.swift-source", TypeKind::source},
    {"tab", "public.tab-separated-values-text", TypeKind::text},
    {"tar", "public.tar-archive", TypeKind::archive},
    {"tcsh", "public.tcsh-script", TypeKind::script},
    {"text", "public.plain-text", TypeKind::text},
    {"tga", "com.truevision.tga-image", TypeKind::image},
    {"tgz", "org.gnu.gnu-zip-tar-archive", TypeKind::archive},
    {"tif", "public.tiff", TypeKind::image},
    {"tiff", "public.tiff", TypeKind::image},
    {"tool", "com.apple.terminal.shell-script", TypeKind::script},
    {"ts", "public.mpeg-2-transport-stream", TypeKind::movie},
    {"tsv", "public.tab-separated-values-text", TypeKind::text},
    {"ttc", "public.truetype-collection-font", TypeKind::font},
    {"ttf", "public.truetype-ttf-font", TypeKind::font},
    {"txt", "public.plain-text", TypeKind::text},
    {"ulw", "public.ulaw-audio", TypeKind::audio},
    {"vcard", "public.vcard", TypeKind::text},
    {"vcf", "public.vcard", TypeKind::text},
    {"vfw", "public.avi", TypeKind::movie},
    {"wav", "com.microsoft.waveform-audio", TypeKind::audio},
    {"wave", "com.microsoft.waveform-audio", TypeKind::audio},
    {"wdgt", "com.apple.dashboard-widget", TypeKind::bundle},
    {"webarchive", "com.apple.webarchive", TypeKind::document},
    {"webloc", "com.apple.web-internet-location", TypeKind::document},
    {"webp", "org.webmproject.webp", TypeKind::image},
    {"wma", "com.microsoft.windows-media-wma", TypeKind::audio},
    {"wmv", "com.microsoft.windows-media-wmv", TypeKind::movie},
    {"workflow", "com.apple.automator-workflow", TypeKind::bundle},
    {"xar", "com.apple.xar-archive", TypeKind::archive},
    {"xbm", "public.xbitmap-image", TypeKind::image},
    {"xcarchive", "com.apple.xcode.archive", TypeKind::bundle},
    {"xcodeproj", "com.apple.xcode.project", TypeKind::bundle},
    {"xcworkspace", "com.apple.dt.document.workspace", TypeKind::bundle},
    {"xht", "public.xhtml", TypeKind::text},
    {"xhtml", "public.xhtml", TypeKind::text},
    {"xls", "com.microsoft.excel.xls", TypeKind::document},
    {"xlsx", "org.openxmlformats.spreadsheetml.sheet", TypeKind::document},
    {"xml", "public.xml", TypeKind::text},
    {"xpc", "com.apple.xpc-service", TypeKind::bundle},
    {"xz", "org.tukaani.xz-archive", TypeKind::archive},
    {"y", "public.yacc-source", TypeKind::source},
    {"yaml", "public.yaml", TypeKind::text},
    {"yml", "public.yaml", TypeKind::text},
    {"z", "public.z-archive", TypeKind::archive},
    {"zip", "public.zip-archive", TypeKind::archive},
    {"zsh", "public.zsh-script", TypeKind::script},
});

constexpr bool sortedAndDistinct() {
  for (std::size_t i = 1; i < kDeclared.size(); ++i)
    if (!(kDeclared[i - 1].extension < kDeclared[i].extension)) return false;
  return true;
}
static_assert(sortedAndDistinct(), "the table is searched by halving");


std::string_view kindWord(TypeKind kind) {
  switch (kind) {
    case TypeKind::image: return "image";
    case TypeKind::audio: return "audio";
    case TypeKind::movie: return "movie";
    case TypeKind::text: return "text document";
    case TypeKind::source: return "source code";
    case TypeKind::script: return "script";
    case TypeKind::archive: return "archive";
    case TypeKind::document: return "document";
    case TypeKind::font: return "font";
    case TypeKind::bundle: return "bundle";
    case TypeKind::data: return "file";
  }
  return "file";
}

}  // namespace

std::span<const DeclaredType> declaredTypes() noexcept { return kDeclared; }

const DeclaredType* declaredTypeForExtension(std::string_view extension) noexcept {
  // No declared extension is longer than this.
  std::array<char, 16> buffer{};
  if (extension.empty() || extension.size() > buffer.size()) return nullptr;
  for (std::size_t i = 0; i < extension.size(); ++i) {
    const char c = extension[i];
    buffer[i] = c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
  }
  const std::string_view lower(buffer.data(), extension.size());
  auto at = std::lower_bound(kDeclared.begin(), kDeclared.end(), lower,
                             [](const DeclaredType& t, std::string_view e) { return t.extension < e; });
  return at != kDeclared.end() && at->extension == lower ? &*at : nullptr;
}

std::string dynamicTypeIdentifier(std::string_view extension) {
  // The tag class and tag as "?0=6:1=<extension>" (6: filename extension),
  // its UTF-8 bytes read five bits at a time, most significant first, each
  // group a letter of a 32-letter alphabet without i, j, l and o; the last
  // group is filled with zero bits. "dyn.a" marks the first encoding.
  constexpr std::string_view kAlphabet = "abcdefghkmnpqrstuvwxyz0123456789";
  const std::string text = "?0=6:1=" + std::string(extension);
  std::string id = "dyn.a";
  unsigned buffer = 0;
  int bits = 0;
  for (unsigned char byte : text) {
    buffer = (buffer << 8) | byte;
    bits += 8;
    while (bits >= 5) {
      bits -= 5;
      id.push_back(kAlphabet[(buffer >> bits) & 31]);
    }
    buffer &= (1u << bits) - 1;
  }
  if (bits > 0) id.push_back(kAlphabet[(buffer << (5 - bits)) & 31]);
  return id;
}

std::string typeIdentifierForExtension(std::string_view extension) {
  if (const DeclaredType* t = declaredTypeForExtension(extension)) return std::string(t->identifier);
  return dynamicTypeIdentifier(extension);
}

std::string typeDescription(std::string_view extension) {
  const DeclaredType* t = declaredTypeForExtension(extension);
  if (t == nullptr) return "Document";
  std::string upper(t->extension);
  for (char& c : upper)
    if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
  return upper + " " + std::string(kindWord(t->kind));
}

}  // namespace tessaro::files
