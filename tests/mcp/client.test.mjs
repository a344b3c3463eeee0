import { Client, StreamableHTTPClientTransport } from '@modelcontextprotocol/client';
import { StdioClientTransport } from '@modelcontextprotocol/client/stdio';

import { clientTests } from './scenarios.mjs';

// It asks first for the protocol that came after `initialize`, and has to be content with this one.
clientTests({
  name: 'The second client library',
  Client,
  HTTPTransport: StreamableHTTPClientTransport,
  StdioTransport: StdioClientTransport,
  options: { versionNegotiation: { mode: 'auto' } },
  unauthorized: /401|Unauthorized/,
});
