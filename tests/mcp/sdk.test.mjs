import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';

import { clientTests } from './scenarios.mjs';

clientTests({
  name: 'The first client library',
  Client,
  HTTPTransport: StreamableHTTPClientTransport,
  StdioTransport: StdioClientTransport,
  options: {},
  unauthorized: { code: 401 },
});
