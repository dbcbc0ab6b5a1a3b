// The class-to-association lookup of the association operations. Nothing
// fills it: the provider publishes no association class.
#pragma once

struct AssocLookupRow {
    const char* className;      // a CIM class
    const char* assocClassName; // an association class it takes part in
};

extern const AssocLookupRow* m_assocLookupTable;
extern unsigned int m_assocLookupTableSize;

// True for a null or empty result class; else whether the class in the
// namespace is-a the result class.
bool MatchResultClass(const char* resultClass, const char* className, const char* nameSpace);
// True for a null or empty role; else equality ignoring case.
bool MatchRole(const char* role, const char* candidate);
