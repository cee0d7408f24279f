#include "aof/ArmObjectFile.h"

#include "elf/ElfRecords.h"
#include "input/FileIdentity.h"

ArmObjectFile::ArmObjectFile(const FileName &fileName) : ObjectFile(fileName) {}

ArmObjectFile::~ArmObjectFile() = default;

ObjectFormatKind ArmObjectFile::formatKind() {
    return armFormat;
}

bool ArmObjectFile::isCompatibleWith(ObjectFile &other) {
    return incompatibility(other) == nullptr;
}

IncompatibilityReason *ArmObjectFile::incompatibility(ObjectFile &other) {
    static IncompatibilityReason reason;
    const char *text = nullptr;
    bool byteOrder = false;
    const ObjectFormatKind otherKind = other.formatKind();
    if (otherKind == elfFormat && other.machine() != EM_ARM)
        text = "linking ARM object file to a non-ARM ELF file";
    if (otherKind != armFormat && otherKind != elfFormat) text = "incompatible object file formats";
    if (!text && isLittleEndian() != other.isLittleEndian()) {
        text = "endian mismatch";
        byteOrder = true;
    }
    if (!text) return nullptr;
    reason.fill(other.fileName, fileName, text);
    reason.setByteOrder(byteOrder);
    return &reason;
}

bool ArmObjectFile::isRelocatable() {
    return true;
}

bool ArmObjectFile::isExecutable() {
    return false;
}

bool ArmObjectFile::isSharedObject() {
    return false;
}

uint32_t ArmObjectFile::machine() {
    return EM_ARM;
}

ArmObjectFile *ArmObjectFile::asArmObjectFile() {
    return this;
}

uint32_t ArmObjectFile::entry() {
    return 0;
}
