// C# binding of the qz telemetry library's flat interface, through P/Invoke.
// The same assembly runs on Windows x64 and Linux x86-64, on .NET Framework,
// Mono and .NET:
//
// - The import name is "qzwin32", which Windows resolves to qzwin32.dll. On
//   Linux, Mono maps it to libqz.so.1 through Qz.dll.config (keep that file
//   beside Qz.dll), and .NET (Core 3.0 and later) through the resolver that
//   Native registers. Only libqz.so.1 is needed, not the development link
//   libqz.so.
// - The C type long is 32 bits on Windows and 64 bits on Linux: the three
//   functions that take one and the two that return one are imported in both
//   widths and the right one is chosen at run time. Their parameters and
//   results here are C# long; a value that does not fit a 32-bit long throws
//   OverflowException on Windows.
//
// Texts are marshalled as UTF-16 (CharSet.Unicode, on Linux too); a text
// holding a NUL character, which the library would read only up to there,
// throws ArgumentException. Booleans travel as int. Each object frees its
// library handle on Dispose (a using block), or at the latest when it is
// finalized.
using System;
using System.Reflection;
using System.Runtime.InteropServices;

namespace Qz
{
    public abstract class QzObject : IDisposable
    {
        IntPtr handle;

        protected QzObject(IntPtr handle)
        {
            if (handle == IntPtr.Zero) throw new OutOfMemoryException(GetType().Name);
            this.handle = handle;
        }

        ~QzObject() { Release(); }

        public void Dispose()
        {
            Release();
            GC.SuppressFinalize(this);
        }

        // Keeps this object alive, so not finalized, while the call runs.
        internal HandleRef Ref
        {
            get
            {
                if (handle == IntPtr.Zero) throw new ObjectDisposedException(GetType().Name);
                return new HandleRef(this, handle);
            }
        }

        internal static HandleRef RefOf(QzObject o) { return o == null ? new HandleRef(null, IntPtr.Zero) : o.Ref; }

        // A text that belongs to the library: read, never freed by the marshaller.
        internal static string Read(IntPtr p) { return p == IntPtr.Zero ? null : Marshal.PtrToStringUni(p); }

        // The text as the library will read it: whole, or refused.
        internal static string Text(string text, string name)
        {
            if (text != null && text.IndexOf('\0') >= 0)
                throw new ArgumentException("the text holds a NUL character, where the library would cut it", name);
            return text;
        }

        protected abstract void Delete(IntPtr handle);

        void Release()
        {
            if (handle != IntPtr.Zero) Delete(handle);
            handle = IntPtr.Zero;
        }
    }

    public sealed class Configuration : QzObject
    {
        public Configuration() : base(Native.CreateConfiguration()) { }
        protected override void Delete(IntPtr h) { Native.DeleteConfiguration(h); }

        public void SetCompanyID(string guid) { Native.SetCompanyID(Ref, Text(guid, "guid")); }
        public void SetCompanyName(string name) { Native.SetCompanyName(Ref, Text(name, "name")); }
        public void SetApplicationID(string guid) { Native.SetApplicationID(Ref, Text(guid, "guid")); }
        public void SetApplicationName(string name) { Native.SetApplicationName(Ref, Text(name, "name")); }
        public void SetApplicationType(string type) { Native.SetApplicationType(Ref, Text(type, "type")); }
        public void SetApplicationVersion(string version) { Native.SetApplicationVersion(Ref, Text(version, "version")); }
        public void SetApplicationInstanceID(string id) { Native.SetApplicationInstanceID(Ref, Text(id, "id")); }
        public void SetEndpointLocation(string location) { Native.SetEndpointLocation(Ref, Text(location, "location")); }
        public void SetEndpointUseSSL(bool useSSL) { Native.SetEndpointUseSSL(Ref, useSSL ? 1 : 0); }
        public void SetEndpointTimeout(long milliseconds) { Native.SetEndpointTimeout(Ref, milliseconds); }
        public void SetInitialOptIn(bool optIn) { Native.SetInitialOptIn(Ref, optIn ? 1 : 0); }
        public void SetOffline(bool offline) { Native.SetOffline(Ref, offline ? 1 : 0); }
        public void SetInitialSendDisabled(bool disabled) { Native.SetInitialSendDisabled(Ref, disabled ? 1 : 0); }
        public void SetSupportOfflineStorage(bool supported) { Native.SetSupportOfflineStorage(Ref, supported ? 1 : 0); }
        public void SetOmitPersonalInfo(bool omit) { Native.SetOmitPersonalInfo(Ref, omit ? 1 : 0); }
        public void SetFullData(bool fullData) { Native.SetFullData(Ref, fullData ? 1 : 0); }
        public void SetVerifyServerCertificate(bool verify) { Native.SetVerifyServerCertificate(Ref, verify ? 1 : 0); }
        public void SetServerCertificatePin(string pins) { Native.SetServerCertificatePin(Ref, Text(pins, "pins")); }
        public void SetUseSystemProxy(bool use) { Native.SetUseSystemProxy(Ref, use ? 1 : 0); }
        public void SetOfflineStorageLimit(ulong bytes) { Native.SetOfflineStorageLimit(Ref, bytes); }
        public bool SetDefaultIDs(string messageGroup, string defaultSession)
        {
            return Native.SetDefaultIDs(Ref, messageGroup, defaultSession) != 0;
        }

        // What the configuration holds, as the library stored it (GUIDs in upper case).
        public string GetCompanyID() { return Read(Native.GetConfigurationCompanyID(Ref)); }
        public string GetCompanyName() { return Read(Native.GetConfigurationCompanyName(Ref)); }
        public string GetApplicationID() { return Read(Native.GetConfigurationApplicationID(Ref)); }
        public string GetApplicationType() { return Read(Native.GetConfigurationApplicationType(Ref)); }
        public string GetApplicationName() { return Read(Native.GetConfigurationApplicationName(Ref)); }
        public string GetApplicationVersion() { return Read(Native.GetConfigurationApplicationVersion(Ref)); }
        public string GetApplicationInstanceID() { return Read(Native.GetConfigurationApplicationInstanceID(Ref)); }
        public string GetEndpointLocation() { return Read(Native.GetConfigurationEndpointLocation(Ref)); }
        public string GetMessageGroup() { return Read(Native.GetConfigurationMessageGroup(Ref)); }
        public string GetDefaultSession() { return Read(Native.GetConfigurationDefaultSession(Ref)); }
        public bool IsUseSSL() { return Native.IsConfigurationUseSSL(Ref) != 0; }
        public bool IsOptIn() { return Native.IsConfigurationOptIn(Ref) != 0; }
        public bool IsOffline() { return Native.IsConfigurationOffline(Ref) != 0; }
        public bool IsSendDisabled() { return Native.IsConfigurationSendDisabled(Ref) != 0; }
        public bool IsSupportOfflineStorage() { return Native.IsConfigurationSupportOfflineStorage(Ref) != 0; }
        public bool IsOmitPersonalInfo() { return Native.IsConfigurationOmitPersonalInfo(Ref) != 0; }
        public bool IsFullData() { return Native.IsConfigurationFullData(Ref) != 0; }
        public long GetEndpointTimeout() { return Native.GetConfigurationEndpointTimeout(Ref); }
        public bool IsVerifyServerCertificate() { return Native.IsConfigurationVerifyServerCertificate(Ref) != 0; }
        public string GetServerCertificatePin() { return Read(Native.GetConfigurationServerCertificatePin(Ref)); }
        public bool IsUseSystemProxy() { return Native.IsConfigurationUseSystemProxy(Ref) != 0; }
        public ulong GetOfflineStorageLimit() { return Native.GetConfigurationOfflineStorageLimit(Ref); }
    }

    public sealed class BinaryInfo : QzObject
    {
        public BinaryInfo() : base(Native.CreateBinaryInfo()) { }
        protected override void Delete(IntPtr h) { Native.DeleteBinaryInfo(h); }

        public void SetID(string guid) { Native.SetBinaryInfoID(Ref, Text(guid, "guid")); }
        public void SetName(string name) { Native.SetBinaryInfoName(Ref, Text(name, "name")); }
        public void SetVersion(string version) { Native.SetBinaryInfoVersion(Ref, Text(version, "version")); }
        public void SetClassName(string name) { Native.SetBinaryInfoClassName(Ref, Text(name, "name")); }
        public void SetMethodName(string name) { Native.SetBinaryInfoMethodName(Ref, Text(name, "name")); }
        // Milliseconds since 1970-01-01 UTC; 0 means not set.
        public void SetModifiedDate(ulong milliseconds) { Native.SetBinaryInfoModifiedDate(Ref, milliseconds); }

        public string GetID() { return Read(Native.GetBinaryInfoID(Ref)); }
        public string GetName() { return Read(Native.GetBinaryInfoName(Ref)); }
        public string GetVersion() { return Read(Native.GetBinaryInfoVersion(Ref)); }
        public string GetClassName() { return Read(Native.GetBinaryInfoClassName(Ref)); }
        public string GetMethodName() { return Read(Native.GetBinaryInfoMethodName(Ref)); }
        public string GetModifiedDateString() { return Read(Native.GetBinaryInfoModifiedDateString(Ref)); }
        public ulong GetModifiedDate() { return Native.GetBinaryInfoModifiedDate(Ref); }
    }

    public sealed class ExtendedKeys : QzObject
    {
        public ExtendedKeys() : base(Native.CreateExtendedKeys()) { }
        protected override void Delete(IntPtr h) { Native.DeleteExtendedKeys(h); }

        public void Add(string key, string value) { Native.AddExtendedKeysString(Ref, Text(key, "key"), Text(value, "value")); }
        public void Add(string key, int value) { Native.AddExtendedKeysInt(Ref, Text(key, "key"), value); }
        public void AddLong(string key, long value) { Native.AddExtendedKeysLong(Ref, Text(key, "key"), value); }
        public void Add(string key, float value) { Native.AddExtendedKeysFloat(Ref, Text(key, "key"), value); }
        public void Add(string key, double value) { Native.AddExtendedKeysDouble(Ref, Text(key, "key"), value); }
    }

    public sealed class FlowController : QzObject
    {
        public FlowController() : base(Native.CreateFlowController()) { }
        protected override void Delete(IntPtr h) { Native.DeleteFlowController(h); }

        // -1 asks for the largest size; the controller applies its own limits.
        public void SetQueueSize(int size) { Native.SetFlowControllerQueueSize(Ref, size); }
        public void SetHighWater(int mark) { Native.SetFlowControllerHighWater(Ref, mark); }
        public void SetMaximumInterval(uint ms) { Native.SetFlowControllerMaximumInterval(Ref, ms); }
        public void SetMinimumInterval(uint ms) { Native.SetFlowControllerMinimumInterval(Ref, ms); }
        public void SetGain(uint percent) { Native.SetFlowControllerGain(Ref, percent); }
        public void SetQuietGain(uint percent) { Native.SetFlowControllerQuietGain(Ref, percent); }
        public void SetMaximumSequentialFailureCount(uint count) { Native.SetFlowControllerMaximumSequentialFailureCount(Ref, count); }
        public void SetRetryTimeout(long ms) { Native.SetFlowControllerRetryTimeout(Ref, ms); }

        public ulong GetQueueSize() { return Native.GetFlowControllerQueueSize(Ref); }
        public ulong GetHighWater() { return Native.GetFlowControllerHighWater(Ref); }
        public uint GetMaximumInterval() { return Native.GetFlowControllerMaximumInterval(Ref); }
        public uint GetMinimumInterval() { return Native.GetFlowControllerMinimumInterval(Ref); }
        public uint GetGain() { return Native.GetFlowControllerGain(Ref); }
        public uint GetQuietGain() { return Native.GetFlowControllerQuietGain(Ref); }
        public uint GetMaximumSequentialFailureCount() { return Native.GetFlowControllerMaximumSequentialFailureCount(Ref); }
        public long GetRetryTimeout() { return Native.GetFlowControllerRetryTimeout(Ref); }
    }

    public sealed class ExceptionInfo : QzObject
    {
        public const int EventCaught = 100, EventUncaught = 200, EventThrown = 300;

        public ExceptionInfo() : base(Native.CreateExceptionInfo()) { }
        protected override void Delete(IntPtr h) { Native.DeleteExceptionInfo(h); }

        public void SetEventType(int eventType) { Native.SetExceptionInfoEventType(Ref, eventType); }
        public void SetType(string type) { Native.SetExceptionInfoType(Ref, Text(type, "type")); }
        public void SetMessage(string message) { Native.SetExceptionInfoMessage(Ref, Text(message, "message")); }
        public void SetUserContact(string contact) { Native.SetExceptionInfoUserContact(Ref, Text(contact, "contact")); }
        public void SetUserComment(string comment) { Native.SetExceptionInfoUserComment(Ref, Text(comment, "comment")); }

        public int GetEventType() { return Native.GetExceptionInfoEventType(Ref); }
        // "caught", "uncaught" or "thrown".
        public string GetEventTypeString() { return Read(Native.GetExceptionInfoEventTypeString(Ref)); }
        // The exception's type name (GetType is every C# object's own).
        public string GetTypeName() { return Read(Native.GetExceptionInfoType(Ref)); }
        public string GetMessage() { return Read(Native.GetExceptionInfoMessage(Ref)); }
        public string GetUserContact() { return Read(Native.GetExceptionInfoUserContact(Ref)); }
        public string GetUserComment() { return Read(Native.GetExceptionInfoUserComment(Ref)); }
    }

    // The run. Any object may be null; a null session means the run's default session.
    public static class Api
    {
        public const int LogInfo = 100, LogWarn = 200, LogError = 300;

        public static bool ApplicationStart(Configuration config, FlowController flow = null,
                                            BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            return Native.ApplicationStart(QzObject.RefOf(config), QzObject.RefOf(flow),
                                           QzObject.RefOf(binary), QzObject.RefOf(keys)) != 0;
        }

        public static void ApplicationStop(BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            Native.ApplicationStop(QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SessionStart(string session, BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            Native.SessionStart(QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SessionStop(string session, BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            Native.SessionStop(QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void FeatureStart(string name, string session = null, BinaryInfo binary = null,
                                        ExtendedKeys keys = null)
        {
            Native.FeatureStart(QzObject.Text(name, "name"), QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void FeatureStop(string name, string session = null, BinaryInfo binary = null,
                                       ExtendedKeys keys = null)
        {
            Native.FeatureStop(QzObject.Text(name, "name"), QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void FeatureTick(string name, string session = null, BinaryInfo binary = null,
                                       ExtendedKeys keys = null)
        {
            Native.FeatureTick(QzObject.Text(name, "name"), QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void PerformanceProbe(string name, string session = null, BinaryInfo binary = null,
                                            ExtendedKeys keys = null)
        {
            Native.PerformanceProbe(QzObject.Text(name, "name"), QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SystemProfile(string session = null, BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            Native.SystemProfile(QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void ReportException(ExceptionInfo info, string session = null, BinaryInfo binary = null,
                                           ExtendedKeys keys = null)
        {
            Native.ReportException(QzObject.RefOf(info), QzObject.Text(session, "session"), QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SetOptIn(bool optIn) { Native.SetOptIn(optIn ? 1 : 0); }
        public static void SetSendDisabled(bool disabled) { Native.SetSendDisabled(disabled ? 1 : 0); }
        public static void SendMessages() { Native.SendMessages(); }
        public static bool IsApplicationStarted() { return Native.IsApplicationStarted() != 0; }
        public static string GetDefaultSession() { return QzObject.Read(Native.GetDefaultSession()); }
        public static string GetMessageGroup() { return QzObject.Read(Native.GetMessageGroup()); }
        public static void SetLogLevel(int level) { Native.SetLogLevel(level); }
    }

    static class Native
    {
        const string Lib = "qzwin32";
        const string LinuxLibrary = "libqz.so.1";
        const CharSet Utf16 = CharSet.Unicode;

        // C long is 32 bits on Windows (and in any 32-bit process), 64 bits on 64-bit Linux.
        internal static readonly bool LongIs32Bits =
            Environment.OSVersion.Platform == PlatformID.Win32NT || IntPtr.Size == 4;

        static Native()
        {
            // .NET (Core 3.0 and later) reads no Qz.dll.config: a resolver of this
            // assembly's imports maps the name there. Mono and .NET Framework have
            // no such type and need none.
            Type nativeLibrary = Type.GetType("System.Runtime.InteropServices.NativeLibrary");
            Type resolver = Type.GetType("System.Runtime.InteropServices.DllImportResolver");
            if (nativeLibrary == null || resolver == null || Environment.OSVersion.Platform == PlatformID.Win32NT)
                return;
            MethodInfo set = nativeLibrary.GetMethod("SetDllImportResolver", new[] { typeof(Assembly), resolver });
            MethodInfo resolve = typeof(Native).GetMethod("Resolve", BindingFlags.NonPublic | BindingFlags.Static);
            set.Invoke(null, new object[] { typeof(Native).Assembly, Delegate.CreateDelegate(resolver, resolve) });
        }

        static IntPtr Resolve(string name, Assembly assembly, DllImportSearchPath? searchPath)
        {
            if (name != Lib) return IntPtr.Zero;
            Type nativeLibrary = Type.GetType("System.Runtime.InteropServices.NativeLibrary");
            MethodInfo tryLoad = nativeLibrary.GetMethod("TryLoad",
                new[] { typeof(string), typeof(Assembly), typeof(DllImportSearchPath?), typeof(IntPtr).MakeByRefType() });
            object[] arguments = { LinuxLibrary, assembly, searchPath, IntPtr.Zero };
            return (bool)tryLoad.Invoke(null, arguments) ? (IntPtr)arguments[3] : IntPtr.Zero;
        }

        static int ToCLong32(long value, string name)
        {
            if (value < int.MinValue || value > int.MaxValue)
                throw new OverflowException(name + " " + value + " does not fit the 32-bit C long of Windows");
            return (int)value;
        }

        internal static void SetEndpointTimeout(HandleRef c, long milliseconds)
        {
            if (LongIs32Bits) SetEndpointTimeout32(c, ToCLong32(milliseconds, "milliseconds"));
            else SetEndpointTimeout64(c, milliseconds);
        }

        internal static void AddExtendedKeysLong(HandleRef k, string key, long value)
        {
            if (LongIs32Bits) AddExtendedKeysLong32(k, key, ToCLong32(value, "value"));
            else AddExtendedKeysLong64(k, key, value);
        }

        internal static void SetFlowControllerRetryTimeout(HandleRef f, long milliseconds)
        {
            if (LongIs32Bits) SetFlowControllerRetryTimeout32(f, ToCLong32(milliseconds, "milliseconds"));
            else SetFlowControllerRetryTimeout64(f, milliseconds);
        }

        internal static long GetConfigurationEndpointTimeout(HandleRef c)
        {
            return LongIs32Bits ? GetConfigurationEndpointTimeout32(c) : GetConfigurationEndpointTimeout64(c);
        }

        internal static long GetFlowControllerRetryTimeout(HandleRef f)
        {
            return LongIs32Bits ? GetFlowControllerRetryTimeout32(f) : GetFlowControllerRetryTimeout64(f);
        }

        [DllImport(Lib)] internal static extern IntPtr CreateConfiguration();
        [DllImport(Lib)] internal static extern void DeleteConfiguration(IntPtr config);
        [DllImport(Lib)] internal static extern IntPtr CreateBinaryInfo();
        [DllImport(Lib)] internal static extern void DeleteBinaryInfo(IntPtr binaryInfo);
        [DllImport(Lib)] internal static extern IntPtr CreateExtendedKeys();
        [DllImport(Lib)] internal static extern void DeleteExtendedKeys(IntPtr keys);
        [DllImport(Lib)] internal static extern IntPtr CreateFlowController();
        [DllImport(Lib)] internal static extern void DeleteFlowController(IntPtr flow);
        [DllImport(Lib)] internal static extern IntPtr CreateExceptionInfo();
        [DllImport(Lib)] internal static extern void DeleteExceptionInfo(IntPtr info);

        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetCompanyID(HandleRef c, string id);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetCompanyName(HandleRef c, string name);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetApplicationID(HandleRef c, string id);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetApplicationName(HandleRef c, string name);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetApplicationType(HandleRef c, string type);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetApplicationVersion(HandleRef c, string version);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetApplicationInstanceID(HandleRef c, string id);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetEndpointLocation(HandleRef c, string location);
        [DllImport(Lib)] internal static extern void SetEndpointUseSSL(HandleRef c, int useSSL);
        [DllImport(Lib, EntryPoint = "SetEndpointTimeout")] static extern void SetEndpointTimeout32(HandleRef c, int milliseconds);
        [DllImport(Lib, EntryPoint = "SetEndpointTimeout")] static extern void SetEndpointTimeout64(HandleRef c, long milliseconds);
        [DllImport(Lib)] internal static extern void SetInitialOptIn(HandleRef c, int optIn);
        [DllImport(Lib)] internal static extern void SetOffline(HandleRef c, int offline);
        [DllImport(Lib)] internal static extern void SetInitialSendDisabled(HandleRef c, int disabled);
        [DllImport(Lib)] internal static extern void SetSupportOfflineStorage(HandleRef c, int supported);
        [DllImport(Lib)] internal static extern void SetOmitPersonalInfo(HandleRef c, int omit);
        [DllImport(Lib)] internal static extern void SetFullData(HandleRef c, int fullData);
        [DllImport(Lib)] internal static extern void SetVerifyServerCertificate(HandleRef c, int verify);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetServerCertificatePin(HandleRef c, string pins);
        [DllImport(Lib)] internal static extern void SetUseSystemProxy(HandleRef c, int use);
        [DllImport(Lib)] internal static extern void SetOfflineStorageLimit(HandleRef c, ulong bytes);
        [DllImport(Lib, CharSet = Utf16)] internal static extern int SetDefaultIDs(HandleRef c, string group, string session);

        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoID(HandleRef b, string id);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoName(HandleRef b, string name);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoVersion(HandleRef b, string version);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoClassName(HandleRef b, string name);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoMethodName(HandleRef b, string name);
        [DllImport(Lib)] internal static extern void SetBinaryInfoModifiedDate(HandleRef b, ulong milliseconds);

        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysString(HandleRef k, string key, string value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysInt(HandleRef k, string key, int value);
        [DllImport(Lib, CharSet = Utf16, EntryPoint = "AddExtendedKeysLong")] static extern void AddExtendedKeysLong32(HandleRef k, string key, int value);
        [DllImport(Lib, CharSet = Utf16, EntryPoint = "AddExtendedKeysLong")] static extern void AddExtendedKeysLong64(HandleRef k, string key, long value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysFloat(HandleRef k, string key, float value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysDouble(HandleRef k, string key, double value);

        [DllImport(Lib)] internal static extern void SetFlowControllerQueueSize(HandleRef f, int size);
        [DllImport(Lib)] internal static extern void SetFlowControllerHighWater(HandleRef f, int mark);
        [DllImport(Lib)] internal static extern void SetFlowControllerMaximumInterval(HandleRef f, uint ms);
        [DllImport(Lib)] internal static extern void SetFlowControllerMinimumInterval(HandleRef f, uint ms);
        [DllImport(Lib)] internal static extern void SetFlowControllerGain(HandleRef f, uint percent);
        [DllImport(Lib)] internal static extern void SetFlowControllerQuietGain(HandleRef f, uint percent);
        [DllImport(Lib)] internal static extern void SetFlowControllerMaximumSequentialFailureCount(HandleRef f, uint count);
        [DllImport(Lib, EntryPoint = "SetFlowControllerRetryTimeout")] static extern void SetFlowControllerRetryTimeout32(HandleRef f, int ms);
        [DllImport(Lib, EntryPoint = "SetFlowControllerRetryTimeout")] static extern void SetFlowControllerRetryTimeout64(HandleRef f, long ms);

        [DllImport(Lib)] internal static extern void SetExceptionInfoEventType(HandleRef e, int eventType);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetExceptionInfoType(HandleRef e, string type);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetExceptionInfoMessage(HandleRef e, string message);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetExceptionInfoUserContact(HandleRef e, string contact);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetExceptionInfoUserComment(HandleRef e, string comment);

        [DllImport(Lib)] internal static extern int ApplicationStart(HandleRef c, HandleRef f, HandleRef b, HandleRef k);
        [DllImport(Lib)] internal static extern void ApplicationStop(HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SessionStart(string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SessionStop(string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void FeatureStart(string name, string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void FeatureStop(string name, string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void FeatureTick(string name, string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void PerformanceProbe(string name, string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SystemProfile(string session, HandleRef b, HandleRef k);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void ReportException(HandleRef e, string session, HandleRef b, HandleRef k);
        [DllImport(Lib)] internal static extern void SetOptIn(int optIn);
        [DllImport(Lib)] internal static extern void SetSendDisabled(int disabled);
        [DllImport(Lib)] internal static extern void SendMessages();
        [DllImport(Lib)] internal static extern int IsApplicationStarted();
        [DllImport(Lib)] internal static extern IntPtr GetDefaultSession();
        [DllImport(Lib)] internal static extern IntPtr GetMessageGroup();
        [DllImport(Lib)] internal static extern void SetLogLevel(int level);

        // The rest of the classes' members. The C# classes above use the getters;
        // the others (StringBuf, reading ExtendedKeys back, copies, pacing) are
        // imported so that the assembly covers the whole flat interface.
        [DllImport(Lib)] internal static extern void AssignConfiguration(HandleRef config, HandleRef from);
        [DllImport(Lib)] internal static extern void AssignBinaryInfo(HandleRef binaryInfo, HandleRef from);
        [DllImport(Lib)] internal static extern void AssignFlowController(HandleRef flow, HandleRef from);
        [DllImport(Lib)] internal static extern void AssignExceptionInfo(HandleRef info, HandleRef from);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationCompanyID(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationCompanyName(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationApplicationID(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationApplicationType(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationApplicationName(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationApplicationVersion(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationApplicationInstanceID(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationEndpointLocation(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationMessageGroup(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationDefaultSession(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationUseSSL(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationOptIn(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationOffline(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationSendDisabled(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationSupportOfflineStorage(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationOmitPersonalInfo(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationFullData(HandleRef config);
        [DllImport(Lib, EntryPoint = "GetConfigurationEndpointTimeout")] static extern int GetConfigurationEndpointTimeout32(HandleRef config);
        [DllImport(Lib, EntryPoint = "GetConfigurationEndpointTimeout")] static extern long GetConfigurationEndpointTimeout64(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationVerifyServerCertificate(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetConfigurationServerCertificatePin(HandleRef config);
        [DllImport(Lib)] internal static extern int IsConfigurationUseSystemProxy(HandleRef config);
        [DllImport(Lib)] internal static extern ulong GetConfigurationOfflineStorageLimit(HandleRef config);
        [DllImport(Lib)] internal static extern IntPtr GetBinaryInfoID(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern IntPtr GetBinaryInfoName(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern IntPtr GetBinaryInfoVersion(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern IntPtr GetBinaryInfoClassName(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern IntPtr GetBinaryInfoMethodName(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern IntPtr GetBinaryInfoModifiedDateString(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern ulong GetBinaryInfoModifiedDate(HandleRef binaryInfo);
        [DllImport(Lib)] internal static extern ulong GetExtendedKeysSize(HandleRef keys);
        [DllImport(Lib)] internal static extern IntPtr GetExtendedKey(HandleRef keys, ulong index);
        [DllImport(Lib)] internal static extern IntPtr GetExtendedKeyKey(IntPtr property);
        [DllImport(Lib)] internal static extern IntPtr GetExtendedKeyValue(IntPtr property);
        [DllImport(Lib)] internal static extern int GetExtendedKeyKind(IntPtr property);
        [DllImport(Lib)] internal static extern void SetFlowControllerOffline(HandleRef flow, int offline);
        [DllImport(Lib)] internal static extern void SetFlowControllerSupportOfflineStorage(HandleRef flow, int supported);
        [DllImport(Lib)] internal static extern void SetFlowControllerSendDisabled(HandleRef flow, int sendDisabled);
        [DllImport(Lib)] internal static extern ulong GetFlowControllerQueueSize(HandleRef flow);
        [DllImport(Lib)] internal static extern ulong GetFlowControllerHighWater(HandleRef flow);
        [DllImport(Lib)] internal static extern uint GetFlowControllerMaximumInterval(HandleRef flow);
        [DllImport(Lib)] internal static extern uint GetFlowControllerMinimumInterval(HandleRef flow);
        [DllImport(Lib)] internal static extern uint GetFlowControllerGain(HandleRef flow);
        [DllImport(Lib)] internal static extern uint GetFlowControllerQuietGain(HandleRef flow);
        [DllImport(Lib)] internal static extern uint GetFlowControllerMaximumSequentialFailureCount(HandleRef flow);
        [DllImport(Lib, EntryPoint = "GetFlowControllerRetryTimeout")] static extern int GetFlowControllerRetryTimeout32(HandleRef flow);
        [DllImport(Lib, EntryPoint = "GetFlowControllerRetryTimeout")] static extern long GetFlowControllerRetryTimeout64(HandleRef flow);
        [DllImport(Lib)] internal static extern int IsFlowControllerOffline(HandleRef flow);
        [DllImport(Lib)] internal static extern int IsFlowControllerSupportOfflineStorage(HandleRef flow);
        [DllImport(Lib)] internal static extern int IsFlowControllerSendDisabled(HandleRef flow);
        [DllImport(Lib)] internal static extern uint FlowControllerGetInterval(HandleRef flow, ulong count);
        [DllImport(Lib)] internal static extern ulong FlowControllerMessagesToDrop(HandleRef flow, ulong count);
        [DllImport(Lib)] internal static extern int FlowControllerOKToTransmit(HandleRef flow);
        [DllImport(Lib)] internal static extern void FlowControllerOnSend(HandleRef flow, int success);
        [DllImport(Lib)] internal static extern int GetExceptionInfoEventType(HandleRef info);
        [DllImport(Lib)] internal static extern IntPtr GetExceptionInfoEventTypeString(HandleRef info);
        [DllImport(Lib)] internal static extern IntPtr GetExceptionInfoType(HandleRef info);
        [DllImport(Lib)] internal static extern IntPtr GetExceptionInfoMessage(HandleRef info);
        [DllImport(Lib)] internal static extern IntPtr GetExceptionInfoUserContact(HandleRef info);
        [DllImport(Lib)] internal static extern IntPtr GetExceptionInfoUserComment(HandleRef info);
        [DllImport(Lib)] internal static extern void ExceptionInfoFromException(HandleRef info, int eventType, [MarshalAs(UnmanagedType.LPStr)] string what);
        [DllImport(Lib)] internal static extern IntPtr CreateStringBuf(ulong capacity);
        [DllImport(Lib, CharSet = Utf16)] internal static extern IntPtr CreateStringBufFromText(string text);
        [DllImport(Lib)] internal static extern void DeleteStringBuf(IntPtr text);
        [DllImport(Lib, CharSet = Utf16)] internal static extern int AssignStringBuf(IntPtr text, string from);
        [DllImport(Lib)] internal static extern IntPtr GetStringBufText(IntPtr text);
        [DllImport(Lib)] internal static extern ulong GetStringBufLength(IntPtr text);
        [DllImport(Lib)] internal static extern ulong GetStringBufCapacity(IntPtr text);
        [DllImport(Lib)] internal static extern ulong GetStringBufGrowth(IntPtr text);
        [DllImport(Lib, CharSet = Utf16)] internal static extern int StringBufAppend(IntPtr text, string chars, ulong count);
        [DllImport(Lib)] internal static extern int StringBufAppendNarrow(IntPtr text, [MarshalAs(UnmanagedType.LPStr)] string narrow);
        [DllImport(Lib)] internal static extern int StringBufAppendInt32(IntPtr text, int value, int radix);
        [DllImport(Lib)] internal static extern int StringBufAppendUInt32(IntPtr text, uint value, int radix);
        [DllImport(Lib)] internal static extern int StringBufAppendUInt64(IntPtr text, ulong value, int radix);
        [DllImport(Lib)] internal static extern int StringBufAppendDouble(IntPtr text, double value);
        [DllImport(Lib)] internal static extern void StringBufClear(IntPtr text);
        [DllImport(Lib)] internal static extern void StringBufTrim(IntPtr text);
        [DllImport(Lib)] internal static extern void StringBufToUpperCase(IntPtr text);
        [DllImport(Lib)] internal static extern void StringBufToLowercase(IntPtr text);
        [DllImport(Lib, CharSet = Utf16)] internal static extern int StringBufStartsWith(IntPtr text, string prefix, ulong offset);
        [DllImport(Lib, CharSet = Utf16)] internal static extern long StringBufLastIndexOf(IntPtr text, char c);
        [DllImport(Lib)] internal static extern void StringBufSubString(IntPtr text, long start, ulong count);
        [DllImport(Lib)] internal static extern void StringBufSubStringFrom(IntPtr text, long start);
    }
}
