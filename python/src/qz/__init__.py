"""Python binding of the qz telemetry library, through its flat interface (ctypes).

    import qz
    with qz.Configuration() as config, qz.ExtendedKeys() as keys:
        config.set_company_id("9531985D-5D9D-49F8-9818-E811892F902B")
        config.set_application_id("36F675CC-81E7-4EF5-A8E2-5D940ED90475")
        keys.add_int("plugins", 3)
        with qz.run(config, keys=keys) as started:
            if started:
                with qz.feature("Export"):
                    ...

The library is found, in this order, at $QZ_LIBRARY, as the package's own copy
(libqz.so.1 or qzwin32.dll beside this file, in a platform wheel), or by the
system's loader (libqz.so.1 of an installed libqz1, qzwin32.dll on the DLL
search path); load() names another file.

Values are checked before they reach the library: a number that does not fit
the C type of its parameter raises OverflowError, a text holding a NUL
character raises ValueError, a value of the wrong type TypeError, and an
object used after close() ValueError. Nothing is wrapped or cut silently.
Texts go to the library as UTF-16 (ctypes' c_wchar is 32 bits on Linux, so it
is not used); booleans travel as int. Every object frees its library handle
when its with-block ends, on close(), or at the latest when it is collected.
"""

import contextlib
import ctypes
import math
import os
import sys
from typing import Any, Dict, Iterator, List, Optional, Tuple, Type, TypeVar

try:
    from qz._version import __version__  # written when the package is built
except ImportError:  # the source tree itself
    __version__ = "0+source"

__all__ = [
    "__version__", "load", "library_path",
    "Configuration", "BinaryInfo", "ExtendedKeys", "FlowController", "ExceptionInfo",
    "application_start", "application_stop", "session_start", "session_stop",
    "feature_start", "feature_stop", "feature_tick", "performance_probe", "system_profile",
    "report_exception", "set_opt_in", "set_send_disabled", "send_messages",
    "is_application_started", "get_default_session", "get_message_group", "set_log_level",
    "run", "session", "feature",
    "LOG_INFO", "LOG_WARN", "LOG_ERROR", "EVENT_CAUGHT", "EVENT_UNCAUGHT", "EVENT_THROWN",
]

LOG_INFO, LOG_WARN, LOG_ERROR = 100, 200, 300
EVENT_CAUGHT, EVENT_UNCAUGHT, EVENT_THROWN = 100, 200, 300

_LIBRARY_NAME = "qzwin32.dll" if sys.platform == "win32" else "libqz.so.1"

_H = ctypes.c_void_p
_T = ctypes.c_char_p  # a UTF-16 text made by _text()
_I, _L, _U, _U64 = ctypes.c_int, ctypes.c_long, ctypes.c_uint, ctypes.c_uint64
_F, _D = ctypes.c_float, ctypes.c_double
# name: (result type, argument types)
_SIGNATURES: Dict[str, Tuple[Any, List[Any]]] = {
    "CreateConfiguration": (_H, []), "DeleteConfiguration": (None, [_H]),
    "CreateBinaryInfo": (_H, []), "DeleteBinaryInfo": (None, [_H]),
    "CreateExtendedKeys": (_H, []), "DeleteExtendedKeys": (None, [_H]),
    "CreateFlowController": (_H, []), "DeleteFlowController": (None, [_H]),
    "CreateExceptionInfo": (_H, []), "DeleteExceptionInfo": (None, [_H]),
    "SetCompanyID": (None, [_H, _T]), "SetCompanyName": (None, [_H, _T]),
    "SetApplicationID": (None, [_H, _T]), "SetApplicationName": (None, [_H, _T]),
    "SetApplicationType": (None, [_H, _T]), "SetApplicationVersion": (None, [_H, _T]),
    "SetApplicationInstanceID": (None, [_H, _T]), "SetEndpointLocation": (None, [_H, _T]),
    "SetEndpointUseSSL": (None, [_H, _I]), "SetEndpointTimeout": (None, [_H, _L]),
    "SetInitialOptIn": (None, [_H, _I]), "SetOffline": (None, [_H, _I]),
    "SetInitialSendDisabled": (None, [_H, _I]), "SetSupportOfflineStorage": (None, [_H, _I]),
    "SetOmitPersonalInfo": (None, [_H, _I]), "SetFullData": (None, [_H, _I]),
    "SetDefaultIDs": (_I, [_H, _T, _T]),
    "SetBinaryInfoID": (None, [_H, _T]), "SetBinaryInfoName": (None, [_H, _T]),
    "SetBinaryInfoVersion": (None, [_H, _T]), "SetBinaryInfoClassName": (None, [_H, _T]),
    "SetBinaryInfoMethodName": (None, [_H, _T]),
    "SetBinaryInfoModifiedDate": (None, [_H, _U64]),
    "AddExtendedKeysString": (None, [_H, _T, _T]), "AddExtendedKeysInt": (None, [_H, _T, _I]),
    "AddExtendedKeysLong": (None, [_H, _T, _L]),
    "AddExtendedKeysFloat": (None, [_H, _T, _F]), "AddExtendedKeysDouble": (None, [_H, _T, _D]),
    "SetFlowControllerQueueSize": (None, [_H, _I]), "SetFlowControllerHighWater": (None, [_H, _I]),
    "SetFlowControllerMaximumInterval": (None, [_H, _U]),
    "SetFlowControllerMinimumInterval": (None, [_H, _U]),
    "SetFlowControllerGain": (None, [_H, _U]), "SetFlowControllerQuietGain": (None, [_H, _U]),
    "SetFlowControllerMaximumSequentialFailureCount": (None, [_H, _U]),
    "SetFlowControllerRetryTimeout": (None, [_H, _L]),
    "SetExceptionInfoEventType": (None, [_H, _I]), "SetExceptionInfoType": (None, [_H, _T]),
    "SetExceptionInfoMessage": (None, [_H, _T]), "SetExceptionInfoUserContact": (None, [_H, _T]),
    "SetExceptionInfoUserComment": (None, [_H, _T]),
    "ApplicationStart": (_I, [_H, _H, _H, _H]), "ApplicationStop": (None, [_H, _H]),
    "SessionStart": (None, [_T, _H, _H]), "SessionStop": (None, [_T, _H, _H]),
    "FeatureStart": (None, [_T, _T, _H, _H]), "FeatureStop": (None, [_T, _T, _H, _H]),
    "FeatureTick": (None, [_T, _T, _H, _H]), "PerformanceProbe": (None, [_T, _T, _H, _H]),
    "SystemProfile": (None, [_T, _H, _H]), "ReportException": (None, [_H, _T, _H, _H]),
    "SetOptIn": (None, [_I]), "SetSendDisabled": (None, [_I]), "SendMessages": (None, []),
    "IsApplicationStarted": (_I, []),
    "GetDefaultSession": (_H, []), "GetMessageGroup": (_H, []),
    "SetLogLevel": (None, [_I]),
    "SetVerifyServerCertificate": (None, [_H, _I]),
    "SetServerCertificatePin": (None, [_H, _T]),
    "SetUseSystemProxy": (None, [_H, _I]),
    "SetOfflineStorageLimit": (None, [_H, _U64]),
    # Getters: what the library stored (GUIDs upper case, values clamped).
    "GetConfigurationCompanyID": (_H, [_H]), "GetConfigurationCompanyName": (_H, [_H]),
    "GetConfigurationApplicationID": (_H, [_H]), "GetConfigurationApplicationType": (_H, [_H]),
    "GetConfigurationApplicationName": (_H, [_H]),
    "GetConfigurationApplicationVersion": (_H, [_H]),
    "GetConfigurationApplicationInstanceID": (_H, [_H]),
    "GetConfigurationEndpointLocation": (_H, [_H]), "GetConfigurationMessageGroup": (_H, [_H]),
    "GetConfigurationDefaultSession": (_H, [_H]),
    "GetConfigurationServerCertificatePin": (_H, [_H]), "IsConfigurationUseSSL": (_I, [_H]),
    "IsConfigurationOptIn": (_I, [_H]), "IsConfigurationOffline": (_I, [_H]),
    "IsConfigurationSendDisabled": (_I, [_H]),
    "IsConfigurationSupportOfflineStorage": (_I, [_H]),
    "IsConfigurationOmitPersonalInfo": (_I, [_H]), "IsConfigurationFullData": (_I, [_H]),
    "IsConfigurationVerifyServerCertificate": (_I, [_H]),
    "IsConfigurationUseSystemProxy": (_I, [_H]), "GetConfigurationEndpointTimeout": (_L, [_H]),
    "GetConfigurationOfflineStorageLimit": (_U64, [_H]),
    "GetBinaryInfoID": (_H, [_H]), "GetBinaryInfoName": (_H, [_H]),
    "GetBinaryInfoVersion": (_H, [_H]), "GetBinaryInfoClassName": (_H, [_H]),
    "GetBinaryInfoMethodName": (_H, [_H]), "GetBinaryInfoModifiedDateString": (_H, [_H]),
    "GetBinaryInfoModifiedDate": (_U64, [_H]), "GetFlowControllerQueueSize": (_U64, [_H]),
    "GetFlowControllerHighWater": (_U64, [_H]), "GetFlowControllerMaximumInterval": (_U, [_H]),
    "GetFlowControllerMinimumInterval": (_U, [_H]), "GetFlowControllerGain": (_U, [_H]),
    "GetFlowControllerQuietGain": (_U, [_H]),
    "GetFlowControllerMaximumSequentialFailureCount": (_U, [_H]),
    "GetFlowControllerRetryTimeout": (_L, [_H]),
    "GetExceptionInfoEventType": (_I, [_H]),
    "GetExceptionInfoEventTypeString": (_H, [_H]), "GetExceptionInfoType": (_H, [_H]),
    "GetExceptionInfoMessage": (_H, [_H]), "GetExceptionInfoUserContact": (_H, [_H]),
    "GetExceptionInfoUserComment": (_H, [_H]),
}

_lib: Optional[ctypes.CDLL] = None
_lib_path: Optional[str] = None


def _candidates() -> List[str]:
    """Where the library may be, first choice first."""
    names = []
    if os.environ.get("QZ_LIBRARY"):
        names.append(os.environ["QZ_LIBRARY"])
    own = os.path.join(os.path.dirname(os.path.abspath(__file__)), _LIBRARY_NAME)
    if os.path.exists(own):
        names.append(own)
    names.append(_LIBRARY_NAME)
    return names


def load(path: Optional[str] = None) -> ctypes.CDLL:
    """The library, loaded on first use: path if given, else the first of
    $QZ_LIBRARY, the package's own copy and the system's libqz.so.1
    (qzwin32.dll). Raises OSError, naming every place tried, when none loads."""
    global _lib, _lib_path
    if _lib is not None:
        return _lib
    tried = []
    for name in [path] if path else _candidates():
        try:
            lib = ctypes.CDLL(name)
        except OSError as e:
            tried.append("%s (%s)" % (name, e))
            continue
        for function, (result, arguments) in _SIGNATURES.items():
            f = getattr(lib, function)
            f.restype, f.argtypes = result, arguments
        _lib, _lib_path = lib, name
        return lib
    raise OSError("the qz library could not be loaded; tried: " + "; ".join(tried))


def library_path() -> str:
    """The file the library was loaded from (loading it if need be)."""
    load()
    assert _lib_path is not None
    return _lib_path


# Checks that turn a bad value into an exception here, not into a different
# value in the library.

def _text(value: Optional[str], what: str) -> Optional[bytes]:
    """A str (or None for null) as NUL-terminated UTF-16; a lone surrogate is
    passed as the unit it is."""
    if value is None:
        return None
    if not isinstance(value, str):
        raise TypeError("%s must be str or None, not %s" % (what, type(value).__name__))
    if "\0" in value:
        raise ValueError("%s holds a NUL character, which would end the text there" % what)
    return value.encode("utf-16-le", "surrogatepass") + b"\0\0"


def _required_text(value: str, what: str) -> bytes:
    if value is None:
        raise TypeError("%s must be str, not None" % what)
    encoded = _text(value, what)
    assert encoded is not None
    return encoded


def _integer(value: int, ctype: Any, what: str) -> int:
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError("%s must be int, not %s" % (what, type(value).__name__))
    bits = 8 * ctypes.sizeof(ctype)
    signed = ctype(-1).value < 0
    low, high = (-(1 << (bits - 1)), (1 << (bits - 1)) - 1) if signed else (0, (1 << bits) - 1)
    if not low <= value <= high:
        raise OverflowError("%s %d does not fit the library's %d-bit %s parameter (%d to %d)" % (
            what, value, bits, "signed" if signed else "unsigned", low, high))
    return value


def _real(value: float, ctype: Any, what: str) -> float:
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise TypeError("%s must be float, not %s" % (what, type(value).__name__))
    value = float(value)
    if ctype is _F and math.isfinite(value) and abs(value) > 3.4028234663852886e38:
        raise OverflowError("%s %r does not fit the library's 32-bit float parameter" % (what, value))
    return value


def _flag(value: bool) -> int:
    return 1 if value else 0


def _read_text(address: Optional[int]) -> Optional[str]:
    """A UTF-16 text that the library returns, read up to its 0 unit."""
    if not address:
        return None
    units = ctypes.cast(address, ctypes.POINTER(ctypes.c_uint16))
    n = 0
    while units[n] != 0:
        n += 1
    return ctypes.string_at(address, 2 * n).decode("utf-16-le", "surrogatepass")


_O = TypeVar("_O", bound="_Object")


class _Object:
    """One library object, freed when its with-block ends or close() is called."""
    _create = _delete = ""

    def __init__(self) -> None:
        self._handle: Optional[int] = getattr(load(), self._create)()
        if not self._handle:
            raise MemoryError("%s returned null" % self._create)

    @property
    def closed(self) -> bool:
        return self._handle is None

    @property
    def handle(self) -> int:
        """The library's handle; ValueError once the object is closed."""
        if self._handle is None:
            raise ValueError("%s is closed" % type(self).__name__)
        return self._handle

    def close(self) -> None:
        if self._handle is not None:
            getattr(load(), self._delete)(self._handle)
            self._handle = None

    def __enter__(self: _O) -> _O:
        return self

    def __exit__(self, *exc: Any) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # the interpreter may be shutting down; the process ends anyway
            pass

    def _call(self, function: str, *args: Any) -> Any:
        return getattr(load(), function)(self.handle, *args)

    def _text(self, function: str) -> str:
        """A text the object holds (the library never answers null here)."""
        return _read_text(self._call(function)) or ""


def _handle(obj: Optional[_Object], kind: Type[_Object], what: str) -> Optional[int]:
    """The handle of an optional argument, which must be of its own class: the
    library would read another object's memory as this one's."""
    if obj is None:
        return None
    if not isinstance(obj, kind):
        raise TypeError("%s must be %s or None, not %s" % (what, kind.__name__, type(obj).__name__))
    return obj.handle


class Configuration(_Object):
    _create, _delete = "CreateConfiguration", "DeleteConfiguration"

    def set_company_id(self, guid: Optional[str]) -> None:
        self._call("SetCompanyID", _text(guid, "company ID"))

    def set_company_name(self, name: Optional[str]) -> None:
        self._call("SetCompanyName", _text(name, "company name"))

    def set_application_id(self, guid: Optional[str]) -> None:
        self._call("SetApplicationID", _text(guid, "application ID"))

    def set_application_name(self, name: Optional[str]) -> None:
        self._call("SetApplicationName", _text(name, "application name"))

    def set_application_type(self, kind: Optional[str]) -> None:
        self._call("SetApplicationType", _text(kind, "application type"))

    def set_application_version(self, version: Optional[str]) -> None:
        self._call("SetApplicationVersion", _text(version, "application version"))

    def set_application_instance_id(self, text: Optional[str]) -> None:
        self._call("SetApplicationInstanceID", _text(text, "application instance ID"))

    def set_endpoint_location(self, location: Optional[str]) -> None:
        self._call("SetEndpointLocation", _text(location, "endpoint location"))

    def set_endpoint_use_ssl(self, use_ssl: bool) -> None:
        self._call("SetEndpointUseSSL", _flag(use_ssl))

    def set_endpoint_timeout(self, milliseconds: int) -> None:
        """0 or less means the default; C long (32 bits on Windows, 64 on Linux)."""
        self._call("SetEndpointTimeout", _integer(milliseconds, _L, "endpoint timeout"))

    def set_initial_opt_in(self, opt_in: bool) -> None:
        self._call("SetInitialOptIn", _flag(opt_in))

    def set_offline(self, offline: bool) -> None:
        self._call("SetOffline", _flag(offline))

    def set_initial_send_disabled(self, disabled: bool) -> None:
        self._call("SetInitialSendDisabled", _flag(disabled))

    def set_support_offline_storage(self, supported: bool) -> None:
        self._call("SetSupportOfflineStorage", _flag(supported))

    def set_omit_personal_info(self, omit: bool) -> None:
        self._call("SetOmitPersonalInfo", _flag(omit))

    def set_full_data(self, full: bool) -> None:
        self._call("SetFullData", _flag(full))

    def set_verify_server_certificate(self, verify: bool) -> None:
        """Opt-in: check the server's chain and host name against the system's trust store."""
        self._call("SetVerifyServerCertificate", _flag(verify))

    def set_server_certificate_pin(self, pins: Optional[str]) -> None:
        """Opt-in: base64 SHA-256 digests of the accepted public keys, separated by ';'."""
        self._call("SetServerCertificatePin", _text(pins, "server certificate pin"))

    def set_use_system_proxy(self, use: bool) -> None:
        """Opt-in (Windows): the current user's proxy settings instead of WinHTTP's default."""
        self._call("SetUseSystemProxy", _flag(use))

    def set_offline_storage_limit(self, limit_bytes: int) -> None:
        """Bytes the company's folder of stored batches may hold; 0 (the default) for no limit."""
        self._call("SetOfflineStorageLimit", _integer(limit_bytes, _U64, "offline storage limit"))

    def set_default_ids(self, message_group: Optional[str], default_session: Optional[str]) -> bool:
        """True when both were stored (or cleared with None); False when the
        library refused them (not GUIDs)."""
        return self._call("SetDefaultIDs", _text(message_group, "message group"),
                          _text(default_session, "default session")) != 0

    # What the library stored: GUIDs in upper case, the timeout's default for 0.

    def get_company_id(self) -> str:
        return self._text("GetConfigurationCompanyID")

    def get_company_name(self) -> str:
        return self._text("GetConfigurationCompanyName")

    def get_application_id(self) -> str:
        return self._text("GetConfigurationApplicationID")

    def get_application_type(self) -> str:
        return self._text("GetConfigurationApplicationType")

    def get_application_name(self) -> str:
        return self._text("GetConfigurationApplicationName")

    def get_application_version(self) -> str:
        return self._text("GetConfigurationApplicationVersion")

    def get_application_instance_id(self) -> str:
        return self._text("GetConfigurationApplicationInstanceID")

    def get_endpoint_location(self) -> str:
        return self._text("GetConfigurationEndpointLocation")

    def get_message_group(self) -> str:
        return self._text("GetConfigurationMessageGroup")

    def get_default_session(self) -> str:
        return self._text("GetConfigurationDefaultSession")

    def get_server_certificate_pin(self) -> str:
        return self._text("GetConfigurationServerCertificatePin")

    def is_use_ssl(self) -> bool:
        return self._call("IsConfigurationUseSSL") != 0

    def is_opt_in(self) -> bool:
        return self._call("IsConfigurationOptIn") != 0

    def is_offline(self) -> bool:
        return self._call("IsConfigurationOffline") != 0

    def is_send_disabled(self) -> bool:
        return self._call("IsConfigurationSendDisabled") != 0

    def is_support_offline_storage(self) -> bool:
        return self._call("IsConfigurationSupportOfflineStorage") != 0

    def is_omit_personal_info(self) -> bool:
        return self._call("IsConfigurationOmitPersonalInfo") != 0

    def is_full_data(self) -> bool:
        return self._call("IsConfigurationFullData") != 0

    def is_verify_server_certificate(self) -> bool:
        return self._call("IsConfigurationVerifyServerCertificate") != 0

    def is_use_system_proxy(self) -> bool:
        return self._call("IsConfigurationUseSystemProxy") != 0

    def get_endpoint_timeout(self) -> int:
        return int(self._call("GetConfigurationEndpointTimeout"))

    def get_offline_storage_limit(self) -> int:
        return int(self._call("GetConfigurationOfflineStorageLimit"))


class BinaryInfo(_Object):
    _create, _delete = "CreateBinaryInfo", "DeleteBinaryInfo"

    def set_id(self, guid: Optional[str]) -> None:
        self._call("SetBinaryInfoID", _text(guid, "binary ID"))

    def set_name(self, name: Optional[str]) -> None:
        self._call("SetBinaryInfoName", _text(name, "binary name"))

    def set_version(self, version: Optional[str]) -> None:
        self._call("SetBinaryInfoVersion", _text(version, "binary version"))

    def set_class_name(self, name: Optional[str]) -> None:
        self._call("SetBinaryInfoClassName", _text(name, "class name"))

    def set_method_name(self, name: Optional[str]) -> None:
        self._call("SetBinaryInfoMethodName", _text(name, "method name"))

    def set_modified_date(self, milliseconds_since_1970: int) -> None:
        """Milliseconds since 1970-01-01 UTC (unsigned 64 bits); 0 means not set."""
        self._call("SetBinaryInfoModifiedDate",
                   _integer(milliseconds_since_1970, _U64, "modified date"))

    def get_id(self) -> str:
        return self._text("GetBinaryInfoID")

    def get_name(self) -> str:
        return self._text("GetBinaryInfoName")

    def get_version(self) -> str:
        return self._text("GetBinaryInfoVersion")

    def get_class_name(self) -> str:
        return self._text("GetBinaryInfoClassName")

    def get_method_name(self) -> str:
        return self._text("GetBinaryInfoMethodName")

    def get_modified_date_string(self) -> str:
        return self._text("GetBinaryInfoModifiedDateString")

    def get_modified_date(self) -> int:
        return int(self._call("GetBinaryInfoModifiedDate"))


class ExtendedKeys(_Object):
    _create, _delete = "CreateExtendedKeys", "DeleteExtendedKeys"

    def add_string(self, key: str, value: str) -> None:
        self._call("AddExtendedKeysString", _required_text(key, "key"), _required_text(value, "value"))

    def add_int(self, key: str, value: int) -> None:
        """A 32-bit signed value."""
        self._call("AddExtendedKeysInt", _required_text(key, "key"), _integer(value, _I, "value"))

    def add_long(self, key: str, value: int) -> None:
        """A C long: 64 bits on Linux, 32 on Windows."""
        self._call("AddExtendedKeysLong", _required_text(key, "key"), _integer(value, _L, "value"))

    def add_float(self, key: str, value: float) -> None:
        """A 32-bit float."""
        self._call("AddExtendedKeysFloat", _required_text(key, "key"), _real(value, _F, "value"))

    def add_double(self, key: str, value: float) -> None:
        self._call("AddExtendedKeysDouble", _required_text(key, "key"), _real(value, _D, "value"))


class FlowController(_Object):
    _create, _delete = "CreateFlowController", "DeleteFlowController"

    def set_queue_size(self, size: int) -> None:
        """-1 asks for the largest size; the controller applies its own limits."""
        self._call("SetFlowControllerQueueSize", _integer(size, _I, "queue size"))

    def set_high_water(self, mark: int) -> None:
        self._call("SetFlowControllerHighWater", _integer(mark, _I, "high water"))

    def set_maximum_interval(self, ms: int) -> None:
        self._call("SetFlowControllerMaximumInterval", _integer(ms, _U, "maximum interval"))

    def set_minimum_interval(self, ms: int) -> None:
        self._call("SetFlowControllerMinimumInterval", _integer(ms, _U, "minimum interval"))

    def set_gain(self, percent: int) -> None:
        self._call("SetFlowControllerGain", _integer(percent, _U, "gain"))

    def set_quiet_gain(self, percent: int) -> None:
        self._call("SetFlowControllerQuietGain", _integer(percent, _U, "quiet gain"))

    def set_maximum_sequential_failure_count(self, count: int) -> None:
        self._call("SetFlowControllerMaximumSequentialFailureCount",
                   _integer(count, _U, "failure count"))

    def set_retry_timeout(self, ms: int) -> None:
        self._call("SetFlowControllerRetryTimeout", _integer(ms, _L, "retry timeout"))

    # The settings as the controller clamped them.

    def get_queue_size(self) -> int:
        return int(self._call("GetFlowControllerQueueSize"))

    def get_high_water(self) -> int:
        return int(self._call("GetFlowControllerHighWater"))

    def get_maximum_interval(self) -> int:
        return int(self._call("GetFlowControllerMaximumInterval"))

    def get_minimum_interval(self) -> int:
        return int(self._call("GetFlowControllerMinimumInterval"))

    def get_gain(self) -> int:
        return int(self._call("GetFlowControllerGain"))

    def get_quiet_gain(self) -> int:
        return int(self._call("GetFlowControllerQuietGain"))

    def get_maximum_sequential_failure_count(self) -> int:
        return int(self._call("GetFlowControllerMaximumSequentialFailureCount"))

    def get_retry_timeout(self) -> int:
        return int(self._call("GetFlowControllerRetryTimeout"))


class ExceptionInfo(_Object):
    _create, _delete = "CreateExceptionInfo", "DeleteExceptionInfo"

    def set_event_type(self, event_type: int) -> None:
        """EVENT_CAUGHT, EVENT_UNCAUGHT or EVENT_THROWN."""
        self._call("SetExceptionInfoEventType", _integer(event_type, _I, "event type"))

    def set_type(self, name: Optional[str]) -> None:
        self._call("SetExceptionInfoType", _text(name, "exception type"))

    def set_message(self, text: Optional[str]) -> None:
        self._call("SetExceptionInfoMessage", _text(text, "exception message"))

    def set_user_contact(self, text: Optional[str]) -> None:
        self._call("SetExceptionInfoUserContact", _text(text, "user contact"))

    def set_user_comment(self, text: Optional[str]) -> None:
        self._call("SetExceptionInfoUserComment", _text(text, "user comment"))

    def get_event_type(self) -> int:
        return int(self._call("GetExceptionInfoEventType"))

    def get_event_type_string(self) -> str:
        return self._text("GetExceptionInfoEventTypeString")

    def get_type(self) -> str:
        return self._text("GetExceptionInfoType")

    def get_message(self) -> str:
        return self._text("GetExceptionInfoMessage")

    def get_user_contact(self) -> str:
        return self._text("GetExceptionInfoUserContact")

    def get_user_comment(self) -> str:
        return self._text("GetExceptionInfoUserComment")


# The run. A session of None means the run's default session.

def application_start(config: Optional[Configuration], flow: Optional[FlowController] = None,
                      binary: Optional[BinaryInfo] = None,
                      keys: Optional[ExtendedKeys] = None) -> bool:
    """True when a run is in progress when the call returns."""
    return load().ApplicationStart(
        _handle(config, Configuration, "config"), _handle(flow, FlowController, "flow"),
        _handle(binary, BinaryInfo, "binary"), _handle(keys, ExtendedKeys, "keys")) != 0


def application_stop(binary: Optional[BinaryInfo] = None,
                     keys: Optional[ExtendedKeys] = None) -> None:
    load().ApplicationStop(_handle(binary, BinaryInfo, "binary"), _handle(keys, ExtendedKeys, "keys"))


def session_start(session: str, binary: Optional[BinaryInfo] = None,
                  keys: Optional[ExtendedKeys] = None) -> None:
    load().SessionStart(_required_text(session, "session"), _handle(binary, BinaryInfo, "binary"),
                        _handle(keys, ExtendedKeys, "keys"))


def session_stop(session: str, binary: Optional[BinaryInfo] = None,
                 keys: Optional[ExtendedKeys] = None) -> None:
    load().SessionStop(_required_text(session, "session"), _handle(binary, BinaryInfo, "binary"),
                       _handle(keys, ExtendedKeys, "keys"))


def _event(function: str, name: Optional[str], session: Optional[str],
           binary: Optional[BinaryInfo], keys: Optional[ExtendedKeys], name_required: bool = True) -> None:
    text = _required_text(name, "name") if name_required else _text(name, "name")  # type: ignore[arg-type]
    getattr(load(), function)(text, _text(session, "session"),
                              _handle(binary, BinaryInfo, "binary"), _handle(keys, ExtendedKeys, "keys"))


def feature_start(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                  keys: Optional[ExtendedKeys] = None) -> None:
    _event("FeatureStart", name, session, binary, keys)


def feature_stop(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                 keys: Optional[ExtendedKeys] = None) -> None:
    _event("FeatureStop", name, session, binary, keys)


def feature_tick(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                 keys: Optional[ExtendedKeys] = None) -> None:
    _event("FeatureTick", name, session, binary, keys)


def performance_probe(name: Optional[str], session: Optional[str] = None,
                      binary: Optional[BinaryInfo] = None,
                      keys: Optional[ExtendedKeys] = None) -> None:
    _event("PerformanceProbe", name, session, binary, keys, name_required=False)


def system_profile(session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                   keys: Optional[ExtendedKeys] = None) -> None:
    """Reads the machine on this thread (a while) and queues its profile."""
    load().SystemProfile(_text(session, "session"), _handle(binary, BinaryInfo, "binary"),
                         _handle(keys, ExtendedKeys, "keys"))


def report_exception(info: ExceptionInfo, session: Optional[str] = None,
                     binary: Optional[BinaryInfo] = None,
                     keys: Optional[ExtendedKeys] = None) -> None:
    load().ReportException(_handle(info, ExceptionInfo, "info"), _text(session, "session"),
                           _handle(binary, BinaryInfo, "binary"), _handle(keys, ExtendedKeys, "keys"))


def set_opt_in(opt_in: bool) -> None:
    load().SetOptIn(_flag(opt_in))


def set_send_disabled(disabled: bool) -> None:
    load().SetSendDisabled(_flag(disabled))


def send_messages() -> None:
    load().SendMessages()


def is_application_started() -> bool:
    return load().IsApplicationStarted() != 0


def get_default_session() -> Optional[str]:
    return _read_text(load().GetDefaultSession())


def get_message_group() -> Optional[str]:
    return _read_text(load().GetMessageGroup())


def set_log_level(level: int) -> None:
    """LOG_INFO, LOG_WARN or LOG_ERROR."""
    load().SetLogLevel(_integer(level, _I, "log level"))


# Context managers: the stop always follows the start, whatever the block raises.

@contextlib.contextmanager
def run(config: Optional[Configuration], flow: Optional[FlowController] = None,
        binary: Optional[BinaryInfo] = None, keys: Optional[ExtendedKeys] = None,
        stop_binary: Optional[BinaryInfo] = None,
        stop_keys: Optional[ExtendedKeys] = None) -> Iterator[bool]:
    """The run around a block: yields whether it started, and stops it at the
    end of the block (with stop_binary and stop_keys) when it did."""
    started = application_start(config, flow, binary, keys)
    try:
        yield started
    finally:
        if started:
            application_stop(stop_binary, stop_keys)


@contextlib.contextmanager
def session(session_id: str, binary: Optional[BinaryInfo] = None,
            keys: Optional[ExtendedKeys] = None) -> Iterator[str]:
    """A session around a block."""
    session_start(session_id, binary, keys)
    try:
        yield session_id
    finally:
        session_stop(session_id, binary, keys)


@contextlib.contextmanager
def feature(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
            keys: Optional[ExtendedKeys] = None) -> Iterator[None]:
    """A feature's start and stop around a block."""
    feature_start(name, session, binary, keys)
    try:
        yield
    finally:
        feature_stop(name, session, binary, keys)
