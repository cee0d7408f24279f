// ArmObjectFile: the ObjectFile of an ARM AOF file, the answers that do not
// depend on what was read: the format (kind 5, ARM), the compatibility test,
// and the fixed facts that an AOF file is relocatable, never executable or
// shared, and has no entry point.  ArmObjectFileInput (the reader) derives
// from it and answers everything that comes from the file.
#pragma once

#include "object/ObjectFile.h"

#include <cstdint>

class ArmObjectFile : public ObjectFile {
public:
    explicit ArmObjectFile(const FileName &fileName);
    ~ArmObjectFile() override;

    ObjectFormatKind formatKind() override;
    // incompatibility gives null.
    bool isCompatibleWith(ObjectFile &other) override;
    // An AOF file links with AOF files and with ARM ELF files of the same
    // byte order; the reason says which of the three rules was broken.
    IncompatibilityReason *incompatibility(ObjectFile &other) override;
    bool isRelocatable() override;
    bool isExecutable() override;
    bool isSharedObject() override;
    uint32_t machine() override;
    ArmObjectFile *asArmObjectFile() override;
    // The entry fields of the object header are not used.
    uint32_t entry() override;
};
