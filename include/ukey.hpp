// ukey.hpp - the C++17 face of a customer's USB cryptographic key.
//
//     ukey::Library library;                         // or ukey::Library("/path/to/the/library.so")
//     std::optional<ukey::Key> key = library.WaitForKey(std::chrono::seconds(30));
//     std::string request = key.value().GenerateCertRequest("CertType(1)KeyType(2)HashType(3)");
//
// Header-only, over the C interface of orval_unified_kpxukey.h, which holds the contract of every
// function; a function here keeps the name it has there. Texts go in as std::string_view and come
// out as std::string. Include this header; its parts are:
//
//     codes.hpp      Errc, Condition, ConditionOf, OwnText: the codes by name, and what a client
//                    asks of them: no key, wrong PIN, locked, cancelled, too small
//     exception.hpp  Exception, the base of all that is thrown here; LoadError; BusyError
//     load.hpp       kFunctionNames: the product is loaded with dlopen. Define UKEY_LINKED, for a
//                    whole program, to call the functions that the program is linked with instead.
//     fetch.hpp      Secret, Wipe: the size query, the fetch, the families' different ways to count
//                    the terminator and a text that grows in between are dealt with here. Every
//                    buffer that the product fills is wiped before it is released, and a decrypted
//                    text comes back as a Secret, which does the same.
//     errors.hpp     Error, ZeroByteError, Category: every code but 0 becomes an Error, whose
//                    std::error_code is of Category(). So does the string-library exception that a
//                    malformed text provokes.
//     waiting.hpp    who waits, and call.hpp: a call that throws
//     info.hpp       PinTries, CertFields: what a key's records tell
//     key.hpp        Key: PIN, label, data, signatures, decryption, certificates, requests
//     library.hpp    Library: opening, versions, settings, which key is plugged; KeyEvent
//     events.hpp     EventSource: waits for keys on a thread of its own and can be stopped and
//                    destroyed at any moment of its wait; StopFlag
//
// Threads: the product is used from one thread at a time, and so are these objects. A waiting
// EventSource is such a thread: any other call of the product while a source waits throws
// BusyError; stop the source first. The source's own members may be called meanwhile, from any
// thread.
//
// Of its own it has nothing outside namespace ukey but the exception QRV::CQrvException, which the
// product throws, and no macros but the guards of its files, ORVAL_UKEY_*_HPP.
#ifndef ORVAL_UKEY_HPP
#define ORVAL_UKEY_HPP

#include "ukey/call.hpp"
#include "ukey/codes.hpp"
#include "ukey/errors.hpp"
#include "ukey/events.hpp"
#include "ukey/exception.hpp"
#include "ukey/fetch.hpp"
#include "ukey/info.hpp"
#include "ukey/key.hpp"
#include "ukey/library.hpp"
#include "ukey/load.hpp"
#include "ukey/waiting.hpp"

#endif
