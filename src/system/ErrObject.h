#pragma once

#include <QString>

// The error of a failed operation, handed from the code that trapped it to LogError.
// Number 0 means that no error is pending.
struct ErrObject
{
    long Number = 0;
    QString Description;

    bool isError() const { return Number != 0; }
    void Clear()
    {
        Number = 0;
        Description.clear();
    }
};

// Error numbers of our own. The store's numbers follow the old database engine's, so that a log
// written by an earlier version of the program reads the same.
namespace ErrNumber {
constexpr long ElementNotFound = 35601; // list and tree adapters: no item with that key
constexpr long KeyNotUnique = 35602;    // list and tree adapters: the key is taken
constexpr long NoObject = 91;           // a page, document or window that is not there
constexpr long OutOfMemory = 7;
constexpr long FileNotFound = 53;
constexpr long DiskFull = 61;
constexpr long PermissionDenied = 70;
constexpr long PathFileAccess = 75;
constexpr long PrinterError = 482;
constexpr long PageNotLoaded = 76;     // a web page that did not load: HTTP error, no such host, refused, too slow
constexpr long PageNoAnswer = 440;     // a loaded page whose capture failed or did not answer in time
constexpr long NoCurrentRecord = 3021; // the row to change or delete does not exist
constexpr long StoreNotFound = 3024;
constexpr long StoreLocked = 3045;
constexpr long StoreReadOnly = 3051;
constexpr long StoreNotLorekeep = 3078;
constexpr long StoreNotADatabase = 3343;
constexpr long StoreDamaged = 3049;       // the file is a store, but its pages are broken
constexpr long StoreTooNew = 3041;        // written by a newer Lorekeep than this one
constexpr long StoreUnreachable = 3151;   // a shared library's server cannot be reached
constexpr long StoreLoginRefused = 3029;  // the server refused the user name or the password
constexpr long StoreFailed = -2147467259; // any other failure reported by the store
constexpr long NoConnection = 3704;       // an operation on the store while none is open
} // namespace ErrNumber
