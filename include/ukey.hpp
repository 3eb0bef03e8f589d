// ukey.hpp - the C++17 face of a customer's USB cryptographic key.
//
//     ukey::Library library;                         // or ukey::Library("/path/to/the/library.so")
//     ukey::Key key = library.PluggedKey();
//     std::string request = key.GenerateCertRequest("CertType(1)KeyType(2)HashType(3)");
//
// Header-only, over the C interface of orval_unified_kpxukey.h, which holds the contract of every
// function; a function here keeps the name it has there. Include this header; its parts are:
//
//     load.hpp     LoadError: the product is loaded with dlopen. Define UKEY_LINKED, for a whole
//                  program, to call the functions that the program is linked with instead.
//     fetch.hpp    Secret, Wipe: every output is a std::string. The size query, the fetch, the
//                  families' different ways to count the terminator and a text that grows in
//                  between are dealt with here. Every buffer that the product fills is wiped before
//                  it is released, and a decrypted text comes back as a Secret, which does the
//                  same.
//     errors.hpp   Error, ZeroByteError, Errc, Category, OwnText: every code but 0 becomes an
//                  Error, whose std::error_code is of Category(). So does the string-library
//                  exception that a malformed text provokes.
//     call.hpp     a call that throws them
//     key.hpp      Key: PIN, label, data, signatures, decryption, certificates, requests
//     library.hpp  Library: opening, versions, settings, which key is plugged; KeyEvent
//     events.hpp   EventSource: waits for keys on a thread of its own and can be stopped and
//                  destroyed at any moment of its wait
//
// Threads: the product is used from one thread at a time, and so are these objects. A waiting
// EventSource is such a thread: make no other call of the product while a source waits, not even
// one that only asks for a text; stop the source first. Its own members may be called meanwhile,
// from any thread.
//
// Of its own it has nothing outside namespace ukey but the exception QRV::CQrvException, which the
// product throws, and the macro UKEY_FUNCTIONS(X), the list of the interface's functions.
#ifndef ORVAL_UKEY_HPP
#define ORVAL_UKEY_HPP

#include "ukey/call.hpp"
#include "ukey/errors.hpp"
#include "ukey/events.hpp"
#include "ukey/fetch.hpp"
#include "ukey/key.hpp"
#include "ukey/library.hpp"
#include "ukey/load.hpp"

#endif
