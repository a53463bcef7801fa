// Uniform type identifiers of filename extensions: a table of the
// system-declared identifiers of common extensions, and for any other
// extension a dynamic identifier ("dyn.a…") encoded the way the host
// platform makes them, so that the same extension always gives the same one.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tessaro::files {

enum class TypeKind : unsigned char { image, audio, movie, text, source, script, archive, document, font, bundle, data };

struct DeclaredType {
  std::string_view extension;  // lower case, no dot
  std::string_view identifier;
  TypeKind kind;
};

// Every extension the table declares, each once.
std::span<const DeclaredType> declaredTypes() noexcept;
// The declared type of an extension, in any ASCII case.
const DeclaredType* declaredTypeForExtension(std::string_view extension) noexcept;
// The preferred identifier for an extension: the declared one, or a dynamic one.
std::string typeIdentifierForExtension(std::string_view extension);
// The dynamic identifier of an extension that no type declares.
std::string dynamicTypeIdentifier(std::string_view extension);
// A short description of a kind of file ("PNG image", "Folder" …) for an
// extension, as the desktop shows it in a Kind column.
std::string typeDescription(std::string_view extension);

}  // namespace tessaro::files
