// Keeps a subsystem library linkable before its first source file exists.
namespace ovcf { void emptyPartAnchor() {} }
