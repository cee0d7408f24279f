// Processor: the targets this system knows, one object per target, made
// before `main` and never released.  Each gives its name, its machine number
// in each object format (-1 where the format has none) and what is special
// about its small-data area.  File identification maps a machine number read
// from a file to one of these objects; a linking driver asks them the rest.
#pragma once

#include <cstdint>

class ObjectFile;
class Section;

class Processor {
public:
    static constexpr uint32_t noMachine = 0xFFFFFFFF; // -1: no number in that format

    virtual const char *name() const = 0;
    virtual uint32_t elfMachine() const;  // ELF e_machine
    virtual uint32_t coffMachine() const; // COFF magic
    virtual uint32_t bsdMachine() const;  // a.out machine byte
    virtual bool embeddedFlag() const;
    // Gets the small-data area of an output file ready before relocation.
    virtual void prepareSmallData(ObjectFile &output);
    // Where the small-data base lies inside the small-data section.
    virtual uint32_t smallDataBaseOffset(Section &smallData) const;
    virtual const char *smallDataBaseSymbol() const;
    virtual const char *smallData2BaseSymbol() const;

    // The entries.  The PowerPC target has three ELF machine numbers; its
    // two accessors store the number found in the file, and the entry
    // answers `elfMachine` with the number last stored.
    static Processor &sparc();
    static Processor &iX86();
    static Processor &i860();
    static Processor &mc680x0();
    static Processor &am29k();
    static Processor &am29kL();
    static Processor &arm();
    static Processor &ilMachine();
    static Processor &pjc();
    static Processor &powerPC(uint32_t elfMachine);
    static Processor &mips();
    static Processor &powerPCEmbedded(uint32_t elfMachine);
    static Processor &arc();
    static Processor &videoCore();
    static Processor &arcA5();

protected:
    Processor() = default;
    // The entries are statics that live as long as the process; nobody
    // deletes one through this class.
    ~Processor() = default;
};

// The PowerPC entries: plain and embedded, both remembering the machine
// number last seen.
class PowerPCProcessor : public Processor {
public:
    explicit PowerPCProcessor(bool embedded) : embedded(embedded) {}
    const char *name() const override;
    uint32_t elfMachine() const override;
    bool embeddedFlag() const override;

    uint32_t storedMachine = 0x14; // PowerPC's usual number until a file says otherwise

private:
    bool embedded;
};

// ARC: the small-data base lies 0x100 into a section big enough to hold it.
class ArcProcessor : public Processor {
public:
    const char *name() const override;
    uint32_t elfMachine() const override;
    bool embeddedFlag() const override;
    uint32_t smallDataBaseOffset(Section &smallData) const override;
};

// ARC-A5: the small-data base may be computed for the output by remapping
// its ".sdata" section; until then it is placed as for ARC.
class ArcA5Processor : public ArcProcessor {
public:
    const char *name() const override;
    uint32_t elfMachine() const override;
    void prepareSmallData(ObjectFile &output) override;
    uint32_t smallDataBaseOffset(Section &smallData) const override;

    uint32_t smallDataBase = 0xFFFFFFFF; // -1: not computed
};
