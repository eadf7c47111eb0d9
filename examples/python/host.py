#!/usr/bin/env python3
"""An example host in Python: it reports one run through the qz module.

    python3 host.py ENDPOINT [--https]

ENDPOINT is a host, optional port and path without a scheme, for example
127.0.0.1:8080/qz/Publish. It needs the qz package: the wheel installed with pip
(which carries the library), or python/src on PYTHONPATH with the library at
$QZ_LIBRARY or installed as libqz.so.1. The run is the one
demo/host_example.cpp reports with the C++ classes.
"""

import sys

import qz

SESSION = "6B0D549B-6F03-475A-9600-A35A099950D8"


def main(argv):
    if len(argv) < 2:
        print("usage: %s ENDPOINT [--https]" % argv[0], file=sys.stderr)
        return 2
    endpoint, https = argv[1], argv[2:3] == ["--https"]
    qz.set_log_level(qz.LOG_WARN)

    with qz.Configuration() as config, qz.FlowController() as flow, \
            qz.BinaryInfo() as binary, qz.ExtendedKeys() as start_keys:
        config.set_company_id("9531985D-5D9D-49F8-9818-E811892F902B")
        config.set_company_name("Example & Sons")
        config.set_application_id("36F675CC-81E7-4EF5-A8E2-5D940ED90475")
        config.set_application_name("Editor")
        config.set_application_version("2.1.0")
        config.set_application_type("Desktop")
        config.set_endpoint_location(endpoint)
        config.set_endpoint_use_ssl(https)
        config.set_endpoint_timeout(3000)
        config.set_support_offline_storage(False)
        flow.set_queue_size(50)
        binary.set_name("editor.exe")
        binary.set_version("2.1.0.417")
        binary.set_class_name("MainWindow")
        binary.set_method_name("OnCreate")
        start_keys.add_string("edition", "Professional")
        start_keys.add_int("plugins", 3)

        print("host: starting the run (endpoint %s://%s)" % ("https" if https else "http", endpoint),
              flush=True)
        if not qz.application_start(config, flow, binary, start_keys):
            print("host: the run did not start", file=sys.stderr)
            return 1
        print("host: message group %s" % qz.get_message_group(), flush=True)
        qz.session_start(SESSION, binary)

        with qz.BinaryInfo() as export_binary, qz.ExtendedKeys() as export_keys:
            export_binary.set_name("export.dll")
            export_binary.set_class_name("PdfExporter")
            export_binary.set_method_name("Run")
            export_keys.add_string("format", "PDF/A")
            export_keys.add_int("pages", 12)
            export_keys.add_long("bytes", 1048576)
            export_keys.add_float("scale", 0.75)
            export_keys.add_string("title", "Jahresbericht \u00fcber M\u00e4rkte")
            export_keys.add_double("seconds", 1.75)

            print("host: feature Export starts and stops, Zoom ticks twice", flush=True)
            qz.feature_start("Export", SESSION, export_binary, export_keys)
            qz.feature_tick("Zoom", SESSION)
            qz.feature_tick("Zoom")
            qz.feature_stop("Export", SESSION, export_binary, export_keys)

            print("host: an exception, a performance probe and the system profile", flush=True)
            with qz.ExceptionInfo() as fault:
                fault.set_event_type(qz.EVENT_THROWN)
                fault.set_type("IOException")
                fault.set_message("disk full while saving report.pdf")
                fault.set_user_contact("user@example.com")
                fault.set_user_comment("It happened while exporting.")
                qz.report_exception(fault, SESSION, export_binary)
        qz.performance_probe("Render", SESSION, binary)
        qz.system_profile(None, binary)

        print("host: sending what is queued now", flush=True)
        qz.send_messages()
        qz.session_stop(SESSION)

        with qz.ExtendedKeys() as stop_keys:
            stop_keys.add_string("reason", "user closed the window")
            print("host: stopping the run (the last batch goes out now)", flush=True)
            qz.application_stop(binary, stop_keys)
    print("host: done", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
