#include "PlainC.h"

#include <stdio.h>
#include <string.h>

static void OnConnect(CVekClient* client, void* user, const char* reason) {
  (void)reason;
  if (CVekClient_IsSessionConnected(client)) ++((struct PlainC*)user)->connects;
}

static void OnReady(CVekClient* client, void* user) {
  ((struct PlainC*)user)->ready = CVekClient_State(client) == cvcs_ApReady;
}

static void OnResult(CVekClient* client, void* user, const CVekTaskResult* result) {
  const CVekTable table = CVekTaskResult_IndexTable(result, 0);
  const CVekFields fields = CVekTable_Fields(&table);
  const CVekField field = CVekFields_IndexField(&fields, 0);
  const char* const value = CVekTable_RecordField(&table, 0, &field);
  struct PlainC* const plain = user;
  (void)client;
  snprintf(plain->first, sizeof plain->first, "%s", value ? value : "(none)");
}

static void OnDestroy(CVekClient* client, void* user) {
  CVekClient_Delete(client);
  ++((struct PlainC*)user)->destroyed;
}

bool PlainCOpen(struct PlainC* plain, const char* setting) {
  CVekClientCallbacks callbacks;
  memset(&callbacks, 0, sizeof callbacks);
  callbacks.OnVekConnectEvent = OnConnect;
  callbacks.OnVekApReadyEvent = OnReady;
  callbacks.OnVekTaskResultEvent = OnResult;
  callbacks.OnVekClientDestroyEvent = OnDestroy;
  memset(plain, 0, sizeof *plain);
  plain->client = CVekClient_Create(&callbacks, plain);
  return CVekClient_Connect(&plain->client, setting, "plain C", "1.0.0.0", "id", "", "secret");
}

bool PlainCAsk(struct PlainC* plain, const char* text) {
  char request[64];
  const int length = snprintf(request, sizeof request, "     %s", text);
  return CVekClient_SendVekRequest(&plain->client, 128, request, (unsigned)length);
}

void PlainCClose(struct PlainC* plain) {
  CVekClient_Delete(&plain->client);
  CVekClient_Delete(&plain->client);
}
