/* An example host in C99: it reports one run through the flat interface only.

     qz_c_host ENDPOINT [--https]

   ENDPOINT is a host, optional port and path without a scheme, for example
   127.0.0.1:8080/qz/Publish. The run is the one demo/host_example.cpp reports
   with the C++ classes. */
#include <stdio.h>
#include <string.h>

#include "qz/qz_flat.h"

/* UTF-8 (characters of the Basic Multilingual Plane) to the library's UTF-16. */
static void ToUtf16(QZChar* out, size_t size, const char* utf8) {
  const unsigned char* p = (const unsigned char*)utf8;
  size_t n = 0;
  while (*p != 0 && n + 1 < size) {
    unsigned int c = *p++;
    if (c >= 0xE0 && p[0] != 0 && p[1] != 0) {
      c = ((c & 0x0Fu) << 12) | ((p[0] & 0x3Fu) << 6) | (p[1] & 0x3Fu);
      p += 2;
    } else if (c >= 0xC0 && p[0] != 0) {
      c = ((c & 0x1Fu) << 6) | (p[0] & 0x3Fu);
      p += 1;
    }
    out[n++] = (QZChar)c;
  }
  out[n] = 0;
}

/* For texts passed straight to a call: the library copies them during the call,
   so a few rotating buffers are enough. */
static const QZChar* T(const char* utf8) {
  static QZChar buffers[4][256];
  static int next = 0;
  QZChar* out = buffers[next];
  next = (next + 1) % 4;
  ToUtf16(out, 256, utf8);
  return out;
}

/* Prints an identifier the library returns (GUID text: ASCII). */
static void PrintId(const char* label, const QZChar* text) {
  printf("host: %s ", label);
  for (; text != NULL && *text != 0; ++text) putchar((char)*text);
  putchar('\n');
}

int main(int argc, char** argv) {
  QZChar session[40];
  QZConfiguration* config;
  QZFlowController* flow;
  QZBinaryInfo *binary, *exportBinary;
  QZExtendedKeys *startKeys, *exportKeys, *stopKeys;
  QZExceptionInfo* fault;
  int https;

  if (argc < 2) {
    fprintf(stderr, "usage: %s ENDPOINT [--https]\n", argv[0]);
    return 2;
  }
  https = argc > 2 && strcmp(argv[2], "--https") == 0;
  setvbuf(stdout, NULL, _IONBF, 0); /* lines in order with the receiver's output */
  SetLogLevel(200);

  config = CreateConfiguration();
  flow = CreateFlowController();
  binary = CreateBinaryInfo();
  exportBinary = CreateBinaryInfo();
  startKeys = CreateExtendedKeys();
  exportKeys = CreateExtendedKeys();
  stopKeys = CreateExtendedKeys();
  fault = CreateExceptionInfo();
  if (!config || !flow || !binary || !exportBinary || !startKeys || !exportKeys || !stopKeys ||
      !fault) {
    fprintf(stderr, "host: out of memory\n");
    return 1;
  }

  SetCompanyID(config, T("9531985D-5D9D-49F8-9818-E811892F902B"));
  SetCompanyName(config, T("Example & Sons"));
  SetApplicationID(config, T("36F675CC-81E7-4EF5-A8E2-5D940ED90475"));
  SetApplicationName(config, T("Editor"));
  SetApplicationVersion(config, T("2.1.0"));
  SetApplicationType(config, T("Desktop"));
  SetEndpointLocation(config, T(argv[1]));
  SetEndpointUseSSL(config, https);
  SetEndpointTimeout(config, 3000);
  SetSupportOfflineStorage(config, 0);
  SetFlowControllerQueueSize(flow, 50);

  SetBinaryInfoName(binary, T("editor.exe"));
  SetBinaryInfoVersion(binary, T("2.1.0.417"));
  SetBinaryInfoClassName(binary, T("MainWindow"));
  SetBinaryInfoMethodName(binary, T("OnCreate"));
  AddExtendedKeysString(startKeys, T("edition"), T("Professional"));
  AddExtendedKeysInt(startKeys, T("plugins"), 3);

  printf("host: starting the run (endpoint %s://%s)\n", https ? "https" : "http", argv[1]);
  if (!ApplicationStart(config, flow, binary, startKeys)) {
    fprintf(stderr, "host: the run did not start\n");
    return 1;
  }
  PrintId("message group", GetMessageGroup());

  ToUtf16(session, 40, "6B0D549B-6F03-475A-9600-A35A099950D8");
  SessionStart(session, binary, NULL);

  SetBinaryInfoName(exportBinary, T("export.dll"));
  SetBinaryInfoClassName(exportBinary, T("PdfExporter"));
  SetBinaryInfoMethodName(exportBinary, T("Run"));
  AddExtendedKeysString(exportKeys, T("format"), T("PDF/A"));
  AddExtendedKeysInt(exportKeys, T("pages"), 12);
  AddExtendedKeysLong(exportKeys, T("bytes"), 1048576L);
  AddExtendedKeysFloat(exportKeys, T("scale"), 0.75f);
  AddExtendedKeysString(exportKeys, T("title"), T("Jahresbericht \xC3\xBC" "ber M\xC3\xA4rkte"));
  AddExtendedKeysDouble(exportKeys, T("seconds"), 1.75);

  printf("host: feature Export starts and stops, Zoom ticks twice\n");
  FeatureStart(T("Export"), session, exportBinary, exportKeys);
  FeatureTick(T("Zoom"), session, NULL, NULL);
  FeatureTick(T("Zoom"), NULL, NULL, NULL);
  FeatureStop(T("Export"), session, exportBinary, exportKeys);

  printf("host: an exception, a performance probe and the system profile\n");
  SetExceptionInfoEventType(fault, 300);
  SetExceptionInfoType(fault, T("IOException"));
  SetExceptionInfoMessage(fault, T("disk full while saving report.pdf"));
  SetExceptionInfoUserContact(fault, T("user@example.com"));
  SetExceptionInfoUserComment(fault, T("It happened while exporting."));
  ReportException(fault, session, exportBinary, NULL);
  PerformanceProbe(T("Render"), session, binary, NULL);
  SystemProfile(NULL, binary, NULL);

  printf("host: sending what is queued now\n");
  SendMessages();

  SessionStop(session, NULL, NULL);
  AddExtendedKeysString(stopKeys, T("reason"), T("user closed the window"));
  printf("host: stopping the run (the last batch goes out now)\n");
  ApplicationStop(binary, stopKeys);

  DeleteExceptionInfo(fault);
  DeleteExtendedKeys(stopKeys);
  DeleteExtendedKeys(exportKeys);
  DeleteExtendedKeys(startKeys);
  DeleteBinaryInfo(exportBinary);
  DeleteBinaryInfo(binary);
  DeleteFlowController(flow);
  DeleteConfiguration(config);
  printf("host: done\n");
  return 0;
}
