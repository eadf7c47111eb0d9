// C# binding of the qz telemetry library's flat interface, through P/Invoke.
//
// Targets Linux x86-64 (Mono or .NET): the library is libqz.so and the C type
// long is 64 bits there. For Windows x64, set Lib to "qzwin32" and alias CLong
// to System.Int32, since long is 32 bits on Windows.
//
// Texts are marshalled as UTF-16 (CharSet.Unicode, on Linux too); booleans
// travel as int. Each object frees its library handle on Dispose (a using
// block), or at the latest when it is finalized.
using System;
using System.Runtime.InteropServices;
using CLong = System.Int64;

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

        public void SetCompanyID(string guid) { Native.SetCompanyID(Ref, guid); }
        public void SetCompanyName(string name) { Native.SetCompanyName(Ref, name); }
        public void SetApplicationID(string guid) { Native.SetApplicationID(Ref, guid); }
        public void SetApplicationName(string name) { Native.SetApplicationName(Ref, name); }
        public void SetApplicationType(string type) { Native.SetApplicationType(Ref, type); }
        public void SetApplicationVersion(string version) { Native.SetApplicationVersion(Ref, version); }
        public void SetApplicationInstanceID(string id) { Native.SetApplicationInstanceID(Ref, id); }
        public void SetEndpointLocation(string location) { Native.SetEndpointLocation(Ref, location); }
        public void SetEndpointUseSSL(bool useSSL) { Native.SetEndpointUseSSL(Ref, useSSL ? 1 : 0); }
        public void SetEndpointTimeout(CLong milliseconds) { Native.SetEndpointTimeout(Ref, milliseconds); }
        public void SetInitialOptIn(bool optIn) { Native.SetInitialOptIn(Ref, optIn ? 1 : 0); }
        public void SetOffline(bool offline) { Native.SetOffline(Ref, offline ? 1 : 0); }
        public void SetInitialSendDisabled(bool disabled) { Native.SetInitialSendDisabled(Ref, disabled ? 1 : 0); }
        public void SetSupportOfflineStorage(bool supported) { Native.SetSupportOfflineStorage(Ref, supported ? 1 : 0); }
        public void SetOmitPersonalInfo(bool omit) { Native.SetOmitPersonalInfo(Ref, omit ? 1 : 0); }
        public void SetFullData(bool fullData) { Native.SetFullData(Ref, fullData ? 1 : 0); }
        public bool SetDefaultIDs(string messageGroup, string defaultSession)
        {
            return Native.SetDefaultIDs(Ref, messageGroup, defaultSession) != 0;
        }
    }

    public sealed class BinaryInfo : QzObject
    {
        public BinaryInfo() : base(Native.CreateBinaryInfo()) { }
        protected override void Delete(IntPtr h) { Native.DeleteBinaryInfo(h); }

        public void SetID(string guid) { Native.SetBinaryInfoID(Ref, guid); }
        public void SetName(string name) { Native.SetBinaryInfoName(Ref, name); }
        public void SetVersion(string version) { Native.SetBinaryInfoVersion(Ref, version); }
        public void SetClassName(string name) { Native.SetBinaryInfoClassName(Ref, name); }
        public void SetMethodName(string name) { Native.SetBinaryInfoMethodName(Ref, name); }
        // Milliseconds since 1970-01-01 UTC; 0 means not set.
        public void SetModifiedDate(ulong milliseconds) { Native.SetBinaryInfoModifiedDate(Ref, milliseconds); }
    }

    public sealed class ExtendedKeys : QzObject
    {
        public ExtendedKeys() : base(Native.CreateExtendedKeys()) { }
        protected override void Delete(IntPtr h) { Native.DeleteExtendedKeys(h); }

        public void Add(string key, string value) { Native.AddExtendedKeysString(Ref, key, value); }
        public void Add(string key, int value) { Native.AddExtendedKeysInt(Ref, key, value); }
        public void AddLong(string key, CLong value) { Native.AddExtendedKeysLong(Ref, key, value); }
        public void Add(string key, float value) { Native.AddExtendedKeysFloat(Ref, key, value); }
        public void Add(string key, double value) { Native.AddExtendedKeysDouble(Ref, key, value); }
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
        public void SetRetryTimeout(CLong ms) { Native.SetFlowControllerRetryTimeout(Ref, ms); }
    }

    public sealed class ExceptionInfo : QzObject
    {
        public const int EventCaught = 100, EventUncaught = 200, EventThrown = 300;

        public ExceptionInfo() : base(Native.CreateExceptionInfo()) { }
        protected override void Delete(IntPtr h) { Native.DeleteExceptionInfo(h); }

        public void SetEventType(int eventType) { Native.SetExceptionInfoEventType(Ref, eventType); }
        public void SetType(string type) { Native.SetExceptionInfoType(Ref, type); }
        public void SetMessage(string message) { Native.SetExceptionInfoMessage(Ref, message); }
        public void SetUserContact(string contact) { Native.SetExceptionInfoUserContact(Ref, contact); }
        public void SetUserComment(string comment) { Native.SetExceptionInfoUserComment(Ref, comment); }
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
            Native.SessionStart(session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SessionStop(string session, BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            Native.SessionStop(session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void FeatureStart(string name, string session = null, BinaryInfo binary = null,
                                        ExtendedKeys keys = null)
        {
            Native.FeatureStart(name, session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void FeatureStop(string name, string session = null, BinaryInfo binary = null,
                                       ExtendedKeys keys = null)
        {
            Native.FeatureStop(name, session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void FeatureTick(string name, string session = null, BinaryInfo binary = null,
                                       ExtendedKeys keys = null)
        {
            Native.FeatureTick(name, session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void PerformanceProbe(string name, string session = null, BinaryInfo binary = null,
                                            ExtendedKeys keys = null)
        {
            Native.PerformanceProbe(name, session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SystemProfile(string session = null, BinaryInfo binary = null, ExtendedKeys keys = null)
        {
            Native.SystemProfile(session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void ReportException(ExceptionInfo info, string session = null, BinaryInfo binary = null,
                                           ExtendedKeys keys = null)
        {
            Native.ReportException(QzObject.RefOf(info), session, QzObject.RefOf(binary), QzObject.RefOf(keys));
        }

        public static void SetOptIn(bool optIn) { Native.SetOptIn(optIn ? 1 : 0); }
        public static void SetSendDisabled(bool disabled) { Native.SetSendDisabled(disabled ? 1 : 0); }
        public static void SendMessages() { Native.SendMessages(); }
        public static bool IsApplicationStarted() { return Native.IsApplicationStarted() != 0; }
        // The texts belong to the library: read, never freed by the marshaller.
        public static string GetDefaultSession() { return Text(Native.GetDefaultSession()); }
        public static string GetMessageGroup() { return Text(Native.GetMessageGroup()); }
        public static void SetLogLevel(int level) { Native.SetLogLevel(level); }

        static string Text(IntPtr p) { return p == IntPtr.Zero ? null : Marshal.PtrToStringUni(p); }
    }

    static class Native
    {
        const string Lib = "qz";
        const CharSet Utf16 = CharSet.Unicode;

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
        [DllImport(Lib)] internal static extern void SetEndpointTimeout(HandleRef c, CLong milliseconds);
        [DllImport(Lib)] internal static extern void SetInitialOptIn(HandleRef c, int optIn);
        [DllImport(Lib)] internal static extern void SetOffline(HandleRef c, int offline);
        [DllImport(Lib)] internal static extern void SetInitialSendDisabled(HandleRef c, int disabled);
        [DllImport(Lib)] internal static extern void SetSupportOfflineStorage(HandleRef c, int supported);
        [DllImport(Lib)] internal static extern void SetOmitPersonalInfo(HandleRef c, int omit);
        [DllImport(Lib)] internal static extern void SetFullData(HandleRef c, int fullData);
        [DllImport(Lib, CharSet = Utf16)] internal static extern int SetDefaultIDs(HandleRef c, string group, string session);

        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoID(HandleRef b, string id);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoName(HandleRef b, string name);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoVersion(HandleRef b, string version);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoClassName(HandleRef b, string name);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void SetBinaryInfoMethodName(HandleRef b, string name);
        [DllImport(Lib)] internal static extern void SetBinaryInfoModifiedDate(HandleRef b, ulong milliseconds);

        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysString(HandleRef k, string key, string value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysInt(HandleRef k, string key, int value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysLong(HandleRef k, string key, CLong value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysFloat(HandleRef k, string key, float value);
        [DllImport(Lib, CharSet = Utf16)] internal static extern void AddExtendedKeysDouble(HandleRef k, string key, double value);

        [DllImport(Lib)] internal static extern void SetFlowControllerQueueSize(HandleRef f, int size);
        [DllImport(Lib)] internal static extern void SetFlowControllerHighWater(HandleRef f, int mark);
        [DllImport(Lib)] internal static extern void SetFlowControllerMaximumInterval(HandleRef f, uint ms);
        [DllImport(Lib)] internal static extern void SetFlowControllerMinimumInterval(HandleRef f, uint ms);
        [DllImport(Lib)] internal static extern void SetFlowControllerGain(HandleRef f, uint percent);
        [DllImport(Lib)] internal static extern void SetFlowControllerQuietGain(HandleRef f, uint percent);
        [DllImport(Lib)] internal static extern void SetFlowControllerMaximumSequentialFailureCount(HandleRef f, uint count);
        [DllImport(Lib)] internal static extern void SetFlowControllerRetryTimeout(HandleRef f, CLong ms);

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
    }
}
