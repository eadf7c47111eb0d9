"""Python binding of the qz telemetry library's flat interface, through ctypes.

    import qz
    lib = qz.load()                      # libqz.so.1 / qzwin32.dll, or $QZ_LIBRARY
    with qz.Configuration() as config, qz.ExtendedKeys() as keys:
        config.set_company_id("9531985D-5D9D-49F8-9818-E811892F902B")
        ...
        if qz.application_start(config, keys=keys):
            qz.feature_tick("Export")
            qz.application_stop()

Texts go to the library as UTF-16 with a terminating 0 unit (ctypes' c_wchar
is 32 bits on Linux, so it is not used). Booleans travel as int. Every object
frees its library handle when its with-block ends (or on close()).
"""

import ctypes
import os
import sys
from typing import Optional

__all__ = [
    "load", "Configuration", "BinaryInfo", "ExtendedKeys", "FlowController", "ExceptionInfo",
    "application_start", "application_stop", "session_start", "session_stop",
    "feature_start", "feature_stop", "feature_tick", "performance_probe", "system_profile",
    "report_exception", "set_opt_in", "set_send_disabled", "send_messages",
    "is_application_started", "get_default_session", "get_message_group", "set_log_level",
    "LOG_INFO", "LOG_WARN", "LOG_ERROR", "EVENT_CAUGHT", "EVENT_UNCAUGHT", "EVENT_THROWN",
]

LOG_INFO, LOG_WARN, LOG_ERROR = 100, 200, 300
EVENT_CAUGHT, EVENT_UNCAUGHT, EVENT_THROWN = 100, 200, 300


class _Text:
    """ctypes argument type for the library's texts: a str (or None) as UTF-16."""

    @classmethod
    def from_param(cls, value):
        if value is None:
            return None
        if not isinstance(value, str):
            raise TypeError("expected str or None, got %s" % type(value).__name__)
        # ctypes keeps the buffer alive until the call returns; the library copies it.
        return ctypes.c_char_p(value.encode("utf-16-le", "surrogatepass") + b"\0\0")


def _read_text(address: Optional[int]) -> Optional[str]:
    """A UTF-16 text that the library returns, read up to its 0 unit."""
    if not address:
        return None
    units = ctypes.cast(address, ctypes.POINTER(ctypes.c_uint16))
    n = 0
    while units[n] != 0:
        n += 1
    return ctypes.string_at(address, 2 * n).decode("utf-16-le", "surrogatepass")


_H = ctypes.c_void_p
_T = _Text
_I, _L, _U = ctypes.c_int, ctypes.c_long, ctypes.c_uint
# name: (result type, argument types)
_SIGNATURES = {
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
    "SetBinaryInfoModifiedDate": (None, [_H, ctypes.c_uint64]),
    "AddExtendedKeysString": (None, [_H, _T, _T]), "AddExtendedKeysInt": (None, [_H, _T, _I]),
    "AddExtendedKeysLong": (None, [_H, _T, _L]),
    "AddExtendedKeysFloat": (None, [_H, _T, ctypes.c_float]),
    "AddExtendedKeysDouble": (None, [_H, _T, ctypes.c_double]),
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
    "GetDefaultSession": (ctypes.c_void_p, []), "GetMessageGroup": (ctypes.c_void_p, []),
    "SetLogLevel": (None, [_I]),
}

_lib = None


def load(path: Optional[str] = None) -> ctypes.CDLL:
    """Loads the library once: path, else $QZ_LIBRARY, else the system's name for it."""
    global _lib
    if _lib is None:
        name = path or os.environ.get("QZ_LIBRARY") or (
            "qzwin32.dll" if sys.platform == "win32" else "libqz.so.1")
        lib = ctypes.CDLL(name)
        for function, (result, arguments) in _SIGNATURES.items():
            f = getattr(lib, function)
            f.restype, f.argtypes = result, arguments
        _lib = lib
    return _lib


def _handle(obj) -> Optional[int]:
    return None if obj is None else obj.handle


class _Object:
    """One library object, freed when its with-block ends or close() is called."""
    _create = _delete = ""

    def __init__(self):
        self.handle = getattr(load(), self._create)()
        if not self.handle:
            raise MemoryError("%s returned null" % self._create)

    def close(self) -> None:
        if self.handle:
            getattr(load(), self._delete)(self.handle)
            self.handle = None

    def __enter__(self):
        return self

    def __exit__(self, *exc) -> None:
        self.close()

    def __del__(self):
        try:
            self.close()
        except Exception:  # the interpreter may be shutting down; the process ends anyway
            pass

    def _call(self, function: str, *args):
        return getattr(load(), function)(self.handle, *args)


class Configuration(_Object):
    _create, _delete = "CreateConfiguration", "DeleteConfiguration"

    def set_company_id(self, guid: Optional[str]) -> None: self._call("SetCompanyID", guid)
    def set_company_name(self, name: Optional[str]) -> None: self._call("SetCompanyName", name)
    def set_application_id(self, guid: Optional[str]) -> None: self._call("SetApplicationID", guid)
    def set_application_name(self, name: Optional[str]) -> None: self._call("SetApplicationName", name)
    def set_application_type(self, kind: Optional[str]) -> None: self._call("SetApplicationType", kind)
    def set_application_version(self, version: Optional[str]) -> None:
        self._call("SetApplicationVersion", version)
    def set_application_instance_id(self, text: Optional[str]) -> None:
        self._call("SetApplicationInstanceID", text)
    def set_endpoint_location(self, location: Optional[str]) -> None:
        self._call("SetEndpointLocation", location)
    def set_endpoint_use_ssl(self, use_ssl: bool) -> None: self._call("SetEndpointUseSSL", int(use_ssl))
    def set_endpoint_timeout(self, milliseconds: int) -> None:
        self._call("SetEndpointTimeout", milliseconds)
    def set_initial_opt_in(self, opt_in: bool) -> None: self._call("SetInitialOptIn", int(opt_in))
    def set_offline(self, offline: bool) -> None: self._call("SetOffline", int(offline))
    def set_initial_send_disabled(self, disabled: bool) -> None:
        self._call("SetInitialSendDisabled", int(disabled))
    def set_support_offline_storage(self, supported: bool) -> None:
        self._call("SetSupportOfflineStorage", int(supported))
    def set_omit_personal_info(self, omit: bool) -> None: self._call("SetOmitPersonalInfo", int(omit))
    def set_full_data(self, full: bool) -> None: self._call("SetFullData", int(full))

    def set_default_ids(self, message_group: Optional[str], default_session: Optional[str]) -> bool:
        return self._call("SetDefaultIDs", message_group, default_session) != 0


class BinaryInfo(_Object):
    _create, _delete = "CreateBinaryInfo", "DeleteBinaryInfo"

    def set_id(self, guid: Optional[str]) -> None: self._call("SetBinaryInfoID", guid)
    def set_name(self, name: Optional[str]) -> None: self._call("SetBinaryInfoName", name)
    def set_version(self, version: Optional[str]) -> None: self._call("SetBinaryInfoVersion", version)
    def set_class_name(self, name: Optional[str]) -> None: self._call("SetBinaryInfoClassName", name)
    def set_method_name(self, name: Optional[str]) -> None: self._call("SetBinaryInfoMethodName", name)

    def set_modified_date(self, milliseconds_since_1970: int) -> None:
        self._call("SetBinaryInfoModifiedDate", milliseconds_since_1970)


class ExtendedKeys(_Object):
    _create, _delete = "CreateExtendedKeys", "DeleteExtendedKeys"

    def add_string(self, key: str, value: str) -> None: self._call("AddExtendedKeysString", key, value)
    def add_int(self, key: str, value: int) -> None: self._call("AddExtendedKeysInt", key, value)
    def add_long(self, key: str, value: int) -> None: self._call("AddExtendedKeysLong", key, value)
    def add_float(self, key: str, value: float) -> None: self._call("AddExtendedKeysFloat", key, value)
    def add_double(self, key: str, value: float) -> None: self._call("AddExtendedKeysDouble", key, value)


class FlowController(_Object):
    _create, _delete = "CreateFlowController", "DeleteFlowController"

    def set_queue_size(self, size: int) -> None: self._call("SetFlowControllerQueueSize", size)
    def set_high_water(self, mark: int) -> None: self._call("SetFlowControllerHighWater", mark)
    def set_maximum_interval(self, ms: int) -> None: self._call("SetFlowControllerMaximumInterval", ms)
    def set_minimum_interval(self, ms: int) -> None: self._call("SetFlowControllerMinimumInterval", ms)
    def set_gain(self, percent: int) -> None: self._call("SetFlowControllerGain", percent)
    def set_quiet_gain(self, percent: int) -> None: self._call("SetFlowControllerQuietGain", percent)
    def set_maximum_sequential_failure_count(self, count: int) -> None:
        self._call("SetFlowControllerMaximumSequentialFailureCount", count)
    def set_retry_timeout(self, ms: int) -> None: self._call("SetFlowControllerRetryTimeout", ms)


class ExceptionInfo(_Object):
    _create, _delete = "CreateExceptionInfo", "DeleteExceptionInfo"

    def set_event_type(self, event_type: int) -> None:
        self._call("SetExceptionInfoEventType", event_type)
    def set_type(self, name: Optional[str]) -> None: self._call("SetExceptionInfoType", name)
    def set_message(self, text: Optional[str]) -> None: self._call("SetExceptionInfoMessage", text)
    def set_user_contact(self, text: Optional[str]) -> None:
        self._call("SetExceptionInfoUserContact", text)
    def set_user_comment(self, text: Optional[str]) -> None:
        self._call("SetExceptionInfoUserComment", text)


# The run. A session of None means the run's default session.

def application_start(config: Optional[Configuration], flow: Optional[FlowController] = None,
                      binary: Optional[BinaryInfo] = None,
                      keys: Optional[ExtendedKeys] = None) -> bool:
    return load().ApplicationStart(_handle(config), _handle(flow), _handle(binary),
                                   _handle(keys)) != 0


def application_stop(binary: Optional[BinaryInfo] = None,
                     keys: Optional[ExtendedKeys] = None) -> None:
    load().ApplicationStop(_handle(binary), _handle(keys))


def session_start(session: str, binary: Optional[BinaryInfo] = None,
                  keys: Optional[ExtendedKeys] = None) -> None:
    load().SessionStart(session, _handle(binary), _handle(keys))


def session_stop(session: str, binary: Optional[BinaryInfo] = None,
                 keys: Optional[ExtendedKeys] = None) -> None:
    load().SessionStop(session, _handle(binary), _handle(keys))


def feature_start(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                  keys: Optional[ExtendedKeys] = None) -> None:
    load().FeatureStart(name, session, _handle(binary), _handle(keys))


def feature_stop(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                 keys: Optional[ExtendedKeys] = None) -> None:
    load().FeatureStop(name, session, _handle(binary), _handle(keys))


def feature_tick(name: str, session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                 keys: Optional[ExtendedKeys] = None) -> None:
    load().FeatureTick(name, session, _handle(binary), _handle(keys))


def performance_probe(name: Optional[str], session: Optional[str] = None,
                      binary: Optional[BinaryInfo] = None,
                      keys: Optional[ExtendedKeys] = None) -> None:
    load().PerformanceProbe(name, session, _handle(binary), _handle(keys))


def system_profile(session: Optional[str] = None, binary: Optional[BinaryInfo] = None,
                   keys: Optional[ExtendedKeys] = None) -> None:
    load().SystemProfile(session, _handle(binary), _handle(keys))


def report_exception(info: ExceptionInfo, session: Optional[str] = None,
                     binary: Optional[BinaryInfo] = None,
                     keys: Optional[ExtendedKeys] = None) -> None:
    load().ReportException(_handle(info), session, _handle(binary), _handle(keys))


def set_opt_in(opt_in: bool) -> None:
    load().SetOptIn(int(opt_in))


def set_send_disabled(disabled: bool) -> None:
    load().SetSendDisabled(int(disabled))


def send_messages() -> None:
    load().SendMessages()


def is_application_started() -> bool:
    return load().IsApplicationStarted() != 0


def get_default_session() -> Optional[str]:
    return _read_text(load().GetDefaultSession())


def get_message_group() -> Optional[str]:
    return _read_text(load().GetMessageGroup())


def set_log_level(level: int) -> None:
    load().SetLogLevel(level)
