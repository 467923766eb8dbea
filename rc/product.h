// What is ours to choose in this product: names that nothing the router talks to prescribes.
#pragma once

// The two domains under which a LAN host reaches the router's pages, each with and without "www.".
#define LOGIN_DOMAIN_1 "routersetup.home"
#define LOGIN_DOMAIN_2 "routerlogin.home"

// Gateway host of the instant-messenger service that the messenger blocking matches in web requests.
#define MESSENGER_GATEWAY "gateway.messenger.example"
