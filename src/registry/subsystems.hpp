// Each subsystem's registration function: it adds that subsystem's selectors
// to the table. Listing a subsystem here is all it takes to serve it.
#pragma once

namespace tessaro {
class Registry;

void registerBridgeInfoCommands(Registry& r);      // src/bridge/info_commands.cpp
void registerFordingCommands(Registry& r);         // src/bridge/fording_commands.cpp
void registerFileReferenceCommands(Registry& r);   // src/bridge/file_reference_commands.cpp
void registerDateCommands(Registry& r);            // src/bridge/date_commands.cpp
void registerCsvCommands(Registry& r);             // src/text/csv_commands.cpp
void registerRegexCommands(Registry& r);           // src/text/regex_commands.cpp
void registerStringTransformCommands(Registry& r); // src/text/string_transform_commands.cpp
void registerSegmentationCommands(Registry& r);    // src/text/segmentation_commands.cpp
void registerOffsetCommands(Registry& r);          // src/text/offset_commands.cpp
void registerListCommands(Registry& r);            // src/lists/list_commands.cpp
void registerNumericCommands(Registry& r);         // src/numbers/numeric_commands.cpp
void registerBezierCommands(Registry& r);          // src/paths/path_record_commands.cpp
void registerGraphicAttributeCommands(Registry& r); // src/paths/graphic_attribute_commands.cpp
void registerKeychainCommands(Registry& r);        // src/services/keychain_commands.cpp
void registerInputSourceCommands(Registry& r);     // src/services/input_source_commands.cpp
void registerMetadataSearchCommands(Registry& r);  // src/services/metadata_search_commands.cpp
void registerEnumerationCommands(Registry& r);     // src/files/enumeration_commands.cpp
void registerCopyMoveCommands(Registry& r);        // src/files/copy_move_commands.cpp
void registerFileInfoCommands(Registry& r);        // src/files/file_info_commands.cpp
}  // namespace tessaro
