// An example host in C#: it reports one run through the Qz class library.
//
//   mono QzHost.exe ENDPOINT [--https]
//
// ENDPOINT is a host, optional port and path without a scheme, for example
// 127.0.0.1:8080/qz/Publish. libqz.so must be on the loader's search path
// (LD_LIBRARY_PATH). The run is the one demo/host_example.cpp reports with the
// C++ classes.
using System;
using Qz;

static class Host
{
    const string Session = "6B0D549B-6F03-475A-9600-A35A099950D8";

    static int Main(string[] args)
    {
        if (args.Length < 1)
        {
            Console.Error.WriteLine("usage: QzHost.exe ENDPOINT [--https]");
            return 2;
        }
        string endpoint = args[0];
        bool https = args.Length > 1 && args[1] == "--https";
        Api.SetLogLevel(Api.LogWarn);

        using (var config = new Configuration())
        using (var flow = new FlowController())
        using (var binary = new BinaryInfo())
        using (var startKeys = new ExtendedKeys())
        {
            config.SetCompanyID("9531985D-5D9D-49F8-9818-E811892F902B");
            config.SetCompanyName("Example & Sons");
            config.SetApplicationID("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
            config.SetApplicationName("Editor");
            config.SetApplicationVersion("2.1.0");
            config.SetApplicationType("Desktop");
            config.SetEndpointLocation(endpoint);
            config.SetEndpointUseSSL(https);
            config.SetEndpointTimeout(3000);
            config.SetSupportOfflineStorage(false);
            flow.SetQueueSize(50);
            binary.SetName("editor.exe");
            binary.SetVersion("2.1.0.417");
            binary.SetClassName("MainWindow");
            binary.SetMethodName("OnCreate");
            startKeys.Add("edition", "Professional");
            startKeys.Add("plugins", 3);

            Console.WriteLine("host: starting the run (endpoint {0}://{1})", https ? "https" : "http", endpoint);
            if (!Api.ApplicationStart(config, flow, binary, startKeys))
            {
                Console.Error.WriteLine("host: the run did not start");
                return 1;
            }
            Console.WriteLine("host: message group {0}", Api.GetMessageGroup());
            Api.SessionStart(Session, binary);

            using (var exportBinary = new BinaryInfo())
            using (var exportKeys = new ExtendedKeys())
            using (var fault = new ExceptionInfo())
            {
                exportBinary.SetName("export.dll");
                exportBinary.SetClassName("PdfExporter");
                exportBinary.SetMethodName("Run");
                exportKeys.Add("format", "PDF/A");
                exportKeys.Add("pages", 12);
                exportKeys.AddLong("bytes", 1048576);
                exportKeys.Add("scale", 0.75f);
                exportKeys.Add("title", "Jahresbericht \u00fcber M\u00e4rkte");
                exportKeys.Add("seconds", 1.75);

                Console.WriteLine("host: feature Export starts and stops, Zoom ticks twice");
                Api.FeatureStart("Export", Session, exportBinary, exportKeys);
                Api.FeatureTick("Zoom", Session);
                Api.FeatureTick("Zoom");
                Api.FeatureStop("Export", Session, exportBinary, exportKeys);

                Console.WriteLine("host: an exception, a performance probe and the system profile");
                fault.SetEventType(ExceptionInfo.EventThrown);
                fault.SetType("IOException");
                fault.SetMessage("disk full while saving report.pdf");
                fault.SetUserContact("user@example.com");
                fault.SetUserComment("It happened while exporting.");
                Api.ReportException(fault, Session, exportBinary);
            }
            Api.PerformanceProbe("Render", Session, binary);
            Api.SystemProfile(null, binary);

            Console.WriteLine("host: sending what is queued now");
            Api.SendMessages();
            Api.SessionStop(Session);

            using (var stopKeys = new ExtendedKeys())
            {
                stopKeys.Add("reason", "user closed the window");
                Console.WriteLine("host: stopping the run (the last batch goes out now)");
                Api.ApplicationStop(binary, stopKeys);
            }
        }
        Console.WriteLine("host: done");
        return 0;
    }
}
